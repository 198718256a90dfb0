// What a session sends to log on.
#pragma once

#include <string>

#include "support/bytes.h"

// What a session with default attributes sends for a user and a password.
inline Bytes LoginText(const std::string &user, const std::string &password,
                       const std::string &version = "301") {
    return Ascii("login database = SYSTEM user='" + user + "' password='" + password +
                 "' encryptor = '' char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' "
                 "auto_commit = 'on' version = '" +
                 version + "'");
}
