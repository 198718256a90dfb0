// The connection string: its items, its address lists, and the login attributes that follow.
#include "wire/conn_string.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>

#include "platform/memory.h"
#include "wire/connection.h"

static ConnStringAttrs Parsed(const std::string &text) {
    ConnStringAttrs attrs;
    memset(&attrs, 0, sizeof(attrs));
    ConnStringParse(text.c_str(), &attrs);
    return attrs;
}

// The whole record, padding and all: what was not named is still zero.
static bool Same(const ConnStringAttrs &first, const ConnStringAttrs &second) {
    return memcmp(&first, &second, sizeof(first)) == 0;
}

// The record that holds what `set` stores and nothing else.
static ConnStringAttrs Only(void (*set)(ConnStringAttrs *attrs)) {
    ConnStringAttrs attrs;
    memset(&attrs, 0, sizeof(attrs));
    set(&attrs);
    return attrs;
}

static std::string WithCase(std::string text, int (*fold)(int)) {
    for (char &character : text) {
        character = (char)fold((unsigned char)character);
    }
    return text;
}

// The addresses as "1.1.1.1|2.2.2.2"; "none" without a list.
static std::string ListText(const ConnStringAttrs &attrs) {
    if (attrs.ips == nullptr) return "none";
    std::string text;
    for (int32_t index = 0; index < attrs.ips->count; index++) {
        text += (index == 0 ? "" : "|") + std::string(attrs.ips->items[index]);
    }
    return text;
}

TEST(ConnStringAttrs, HasItsFieldsInTheirPlaces) {
    EXPECT_EQ(0u, offsetof(ConnStringAttrs, ip));
    EXPECT_EQ(16u, offsetof(ConnStringAttrs, port));
    EXPECT_EQ(20u, offsetof(ConnStringAttrs, database));
    EXPECT_EQ(148u, offsetof(ConnStringAttrs, user));
    EXPECT_EQ(276u, offsetof(ConnStringAttrs, password));
    EXPECT_EQ(404u, offsetof(ConnStringAttrs, char_set));
    EXPECT_EQ(436u, offsetof(ConnStringAttrs, time_zone));
    EXPECT_EQ(452u, offsetof(ConnStringAttrs, iso_level));
    EXPECT_EQ(468u, offsetof(ConnStringAttrs, lock_timeout));
    EXPECT_EQ(484u, offsetof(ConnStringAttrs, auto_commit));
    EXPECT_EQ(488u, offsetof(ConnStringAttrs, encryptor));
    EXPECT_EQ(552u, offsetof(ConnStringAttrs, use_ssl));
    EXPECT_EQ(553u, offsetof(ConnStringAttrs, lob_ret));
    EXPECT_EQ(554u, offsetof(ConnStringAttrs, return_cursor_id));
    EXPECT_EQ(555u, offsetof(ConnStringAttrs, return_schema));
    EXPECT_EQ(556u, offsetof(ConnStringAttrs, return_rowid));
    EXPECT_EQ(557u, offsetof(ConnStringAttrs, use_cache_ret));
    EXPECT_EQ(558u, offsetof(ConnStringAttrs, use_server_cursor));
    EXPECT_EQ(559u, offsetof(ConnStringAttrs, has_ips));
    EXPECT_EQ(560u, offsetof(ConnStringAttrs, cached_num));
    EXPECT_EQ(564u, offsetof(ConnStringAttrs, strict_commit));
    EXPECT_EQ(565u, offsetof(ConnStringAttrs, return_as_char));
    EXPECT_EQ(568u, offsetof(ConnStringAttrs, ips));
    EXPECT_EQ(576u, offsetof(ConnStringAttrs, ips_text));
    EXPECT_EQ(584u, sizeof(ConnStringAttrs));
}

TEST(ConnStringParse, IgnoresATextOf4CharactersAndTakesOneOf5) {
    ConnStringAttrs attrs = Only([](ConnStringAttrs *a) { strcpy(a->database, "before"); });
    ConnStringParse("DB=;", &attrs);
    EXPECT_STREQ("before", attrs.database);
    ConnStringParse("", &attrs);
    EXPECT_STREQ("before", attrs.database);
    ConnStringParse("DB=x;", &attrs);
    EXPECT_STREQ("x", attrs.database);
    ConnStringParse("DB=;;", &attrs);
    EXPECT_STREQ("", attrs.database);
}

TEST(ConnStringParse, IgnoresATextWithoutASeparator) {
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *) {}), Parsed("DB=SYSTEM")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *) {}), Parsed("ips=1.1.1.1")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *) {}), Parsed("DB=SYSTEM USER=A\nPORT=1")));
}

TEST(ConnStringParse, SeparatesAtSemicolonsOrElseAtCommas) {
    const int64_t blocks = MemLiveBlocks();
    const ConnStringAttrs expected = Only([](ConnStringAttrs *a) {
        strcpy(a->database, "d");
        strcpy(a->user, "u");
        a->port = 7;
    });
    EXPECT_TRUE(Same(expected, Parsed("DB=d;USER=u;PORT=7")));
    EXPECT_TRUE(Same(expected, Parsed("DB=d;USER=u;PORT=7;")));
    EXPECT_TRUE(Same(expected, Parsed(";;DB=d;;;USER=u;PORT=7;;")));
    EXPECT_TRUE(Same(expected, Parsed("DB=d,USER=u,PORT=7")));
    EXPECT_TRUE(Same(expected, Parsed(",DB=d,USER=u,,PORT=7,")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) {
                         strcpy(a->database, "d,USER=u");
                         a->port = 7;
                     }),
                     Parsed("DB=d,USER=u;PORT=7")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) { strcpy(a->database, "d"); }), Parsed("DB=d,")));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

struct KeyCase {
    const char *key;
    const char *value;
    void (*set)(ConnStringAttrs *attrs);
};

static const KeyCase key_cases[] = {
    {"SERVER", "1.2.3.4",
     [](ConnStringAttrs *a) {
         strcpy(a->ip, "1.2.3.4");
     }},
    {"IP", "1.2.3.4",
     [](ConnStringAttrs *a) {
         strcpy(a->ip, "1.2.3.4");
     }},
    {"PORT", "5139",
     [](ConnStringAttrs *a) {
         a->port = 5139;
     }},
    {"DB", "Base",
     [](ConnStringAttrs *a) {
         strcpy(a->database, "Base");
     }},
    {"DataBase", "Base",
     [](ConnStringAttrs *a) {
         strcpy(a->database, "Base");
     }},
    {"USER", "Scott",
     [](ConnStringAttrs *a) {
         strcpy(a->user, "Scott");
     }},
    {"UID", "Scott",
     [](ConnStringAttrs *a) {
         strcpy(a->user, "Scott");
     }},
    {"USERID", "Scott",
     [](ConnStringAttrs *a) {
         strcpy(a->user, "Scott");
     }},
    {"PWD", "Tiger",
     [](ConnStringAttrs *a) {
         strcpy(a->password, "Tiger");
     }},
    {"PASSWORD", "Tiger",
     [](ConnStringAttrs *a) {
         strcpy(a->password, "Tiger");
     }},
    {"CHAR_SET", "utf8",
     [](ConnStringAttrs *a) {
         strcpy(a->char_set, "utf8");
     }},
    {"CHARACTER_SET", "utf8",
     [](ConnStringAttrs *a) {
         strcpy(a->char_set, "utf8");
     }},
    {"CHARSET", "utf8",
     [](ConnStringAttrs *a) {
         strcpy(a->char_set, "utf8");
     }},
    {"TIME_ZONE", "GMT+01:00",
     [](ConnStringAttrs *a) {
         strcpy(a->time_zone, "GMT+01:00");
     }},
    {"timezone", "GMT+01:00",
     [](ConnStringAttrs *a) {
         strcpy(a->time_zone, "GMT+01:00");
     }},
    {"ISO_LEVEL", "4",
     [](ConnStringAttrs *a) {
         strcpy(a->iso_level, "4");
     }},
    {"ISOLEVEL", "4",
     [](ConnStringAttrs *a) {
         strcpy(a->iso_level, "4");
     }},
    {"LOCKTIMEOUT", "30",
     [](ConnStringAttrs *a) {
         strcpy(a->lock_timeout, "30");
     }},
    {"LOCK_TIMEOUT", "30",
     [](ConnStringAttrs *a) {
         strcpy(a->lock_timeout, "30");
     }},
    {"AUTO_COMMIT", "on",
     [](ConnStringAttrs *a) {
         a->auto_commit = 1;
     }},
    {"autocommit", "on",
     [](ConnStringAttrs *a) {
         a->auto_commit = 1;
     }},
    {"ENCRYPTOR", "Enc",
     [](ConnStringAttrs *a) {
         strcpy(a->encryptor, "Enc");
     }},
    {"use_ssl", "yes",
     [](ConnStringAttrs *a) {
         a->use_ssl = 1;
     }},
    {"USESSL", "yes",
     [](ConnStringAttrs *a) {
         a->use_ssl = 1;
     }},
    {"LOB_RET", "on",
     [](ConnStringAttrs *a) {
         a->lob_ret = 1;
     }},
    {"LOBRET", "on",
     [](ConnStringAttrs *a) {
         a->lob_ret = 1;
     }},
    {"retcursorid", "on",
     [](ConnStringAttrs *a) {
         a->return_cursor_id = 1;
     }},
    {"RETURN_CURSORID", "on",
     [](ConnStringAttrs *a) {
         a->return_cursor_id = 1;
     }},
    {"RETURN_SCHEMA", "on",
     [](ConnStringAttrs *a) {
         a->return_schema = 1;
     }},
    {"RETSCHEMA", "on",
     [](ConnStringAttrs *a) {
         a->return_schema = 1;
     }},
    {"RETURN_ROWID", "on",
     [](ConnStringAttrs *a) {
         a->return_rowid = 1;
     }},
    {"RETROWID", "on",
     [](ConnStringAttrs *a) {
         a->return_rowid = 1;
     }},
    {"USECACHERET", "on",
     [](ConnStringAttrs *a) {
         a->use_cache_ret = 1;
     }},
    {"useservercursor", "on",
     [](ConnStringAttrs *a) {
         a->use_server_cursor = 1;
     }},
    {"USE_SRVCURSOR", "on",
     [](ConnStringAttrs *a) {
         a->use_server_cursor = 1;
     }},
    {"CACHEDNUM", "12",
     [](ConnStringAttrs *a) {
         a->cached_num = 12;
     }},
    {"STRICTCOMMIT", "on",
     [](ConnStringAttrs *a) {
         a->strict_commit = 1;
     }},
    {"RETURN_ASCHAR", "on",
     [](ConnStringAttrs *a) {
         a->return_as_char = 1;
     }},
    {"RETASCHAR", "on",
     [](ConnStringAttrs *a) {
         a->return_as_char = 1;
     }},
};

TEST(ConnStringParse, SetsTheFieldOfEachKeyInAnyCase) {
    for (const KeyCase &item : key_cases) {
        const std::string value = std::string("=") + item.value + ";";
        const ConnStringAttrs expected = Only(item.set);
        EXPECT_TRUE(Same(expected, Parsed(item.key + value))) << item.key;
        EXPECT_TRUE(Same(expected, Parsed(WithCase(item.key, toupper) + value))) << item.key;
        EXPECT_TRUE(Same(expected, Parsed(WithCase(item.key, tolower) + value))) << item.key;
    }
}

TEST(ConnStringParse, PassesOverUnknownKeys) {
    const ConnStringAttrs nothing = Only([](ConnStringAttrs *) {});
    for (const KeyCase &item : key_cases) {
        const std::string value = std::string("=") + item.value + ";";
        EXPECT_TRUE(Same(nothing, Parsed(std::string(item.key) + "_" + value))) << item.key;
        EXPECT_TRUE(Same(nothing, Parsed(std::string("_") + item.key + value))) << item.key;
    }
    EXPECT_TRUE(Same(nothing, Parsed("=x;y;HOST=a;CHAR SET=b;TIMEOUT=3;RECONNECT=on;VERSION=9;")));
}

TEST(ConnStringParse, PassesOverAnItemWithoutASign) {
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) { strcpy(a->database, "d"); }),
                     Parsed("USER;DB=d;PASSWORD;;PORT")));
}

// The field that a value gives, as a number.
static uint32_t Flag(const char *key, const char *value, uint32_t (*field)(const ConnStringAttrs &),
                     const char *before = "") {
    return field(Parsed(std::string(before) + key + "=" + value + ";"));
}

static uint32_t AutoCommit(const ConnStringAttrs &attrs) {
    return attrs.auto_commit;
}
static uint32_t UseSsl(const ConnStringAttrs &attrs) {
    return attrs.use_ssl;
}
static uint32_t ReturnSchema(const ConnStringAttrs &attrs) {
    return attrs.return_schema;
}
static uint32_t UseCacheRet(const ConnStringAttrs &attrs) {
    return attrs.use_cache_ret;
}
static uint32_t ReturnAsChar(const ConnStringAttrs &attrs) {
    return attrs.return_as_char;
}
static uint32_t StrictCommit(const ConnStringAttrs &attrs) {
    return attrs.strict_commit;
}
static uint32_t ReturnRowid(const ConnStringAttrs &attrs) {
    return attrs.return_rowid;
}
static uint32_t LobRet(const ConnStringAttrs &attrs) {
    return attrs.lob_ret;
}
static uint32_t ReturnCursorId(const ConnStringAttrs &attrs) {
    return attrs.return_cursor_id;
}
static uint32_t UseServerCursor(const ConnStringAttrs &attrs) {
    return attrs.use_server_cursor;
}

TEST(ConnStringParse, OnAndTrueSetAFlagAndAllElseClearsIt) {
    struct {
        const char *key;
        uint32_t (*field)(const ConnStringAttrs &);
    } const flags[] = {
        {"AUTO_COMMIT", AutoCommit},
        {"RETURN_SCHEMA", ReturnSchema},
        {"USECACHERET", UseCacheRet},
        {"RETURN_ASCHAR", ReturnAsChar},
        {"STRICTCOMMIT", StrictCommit},
        {"RETURN_ROWID", ReturnRowid},
        {"LOB_RET", LobRet},
    };
    for (const auto &flag : flags) {
        for (const char *value : {"on", "ON", "oN", "true", "TRUE", "True", "  on  "}) {
            EXPECT_EQ(1u, Flag(flag.key, value, flag.field)) << flag.key << " " << value;
        }
        const std::string set = std::string(flag.key) + "=on;";
        for (const char *value : {"off", "false", "yes", "1", "", "onn", "o", "tru", "on on"}) {
            EXPECT_EQ(0u, Flag(flag.key, value, flag.field, set.c_str()))
                << flag.key << " " << value;
        }
    }
}

TEST(ConnStringParse, UseSslTakesYesToo) {
    for (const char *value : {"on", "ON", "yes", "YES", "Yes", "true", "True"}) {
        EXPECT_EQ(1u, Flag("use_ssl", value, UseSsl)) << value;
    }
    for (const char *value : {"off", "no", "false", "1", "y", ""}) {
        EXPECT_EQ(0u, Flag("use_ssl", value, UseSsl, "USESSL=on;")) << value;
    }
}

TEST(ConnStringParse, OffAndFalseClearACursorFlagAndAllElseSetsIt) {
    for (const char *value : {"on", "true", "yes", "no", "0", "1", "", "of", "offf"}) {
        EXPECT_EQ(1u, Flag("retcursorid", value, ReturnCursorId)) << value;
        EXPECT_EQ(1u, Flag("useservercursor", value, UseServerCursor)) << value;
    }
    for (const char *value : {"off", "OFF", "Off", "false", "FALSE", " false "}) {
        EXPECT_EQ(0u, Flag("RETURN_CURSORID", value, ReturnCursorId, "retcursorid=on;")) << value;
        EXPECT_EQ(0u, Flag("USE_SRVCURSOR", value, UseServerCursor, "useservercursor=on;"))
            << value;
    }
    EXPECT_EQ(0u, Parsed("DB=x;").return_cursor_id);
    EXPECT_EQ(0u, Parsed("DB=x;").use_server_cursor);
}

TEST(ConnStringParse, ReadsTheNumberAtTheBeginningOfAValue) {
    struct {
        const char *value;
        uint32_t number;
    } const cases[] = {
        {"5138", 5138},
        {" 5138 ", 5138},
        {"+5138", 5138},
        {"0005138", 5138},
        {"12abc", 12},
        {"12.9", 12},
        {"0x10", 0},
        {"abc", 0},
        {"", 0},
        {"-", 0},
        {"65536", 65536},
        {"-1", 4294967295},
        {"2147483647", 2147483647},
        {"2147483648", 2147483647},
        {"99999999999999999999999999", 2147483647},
        {"-2147483649", 2147483648},
    };
    for (const auto &item : cases) {
        EXPECT_EQ(item.number, Parsed(std::string("PORT=") + item.value + ";").port) << item.value;
        EXPECT_EQ(item.number, Parsed(std::string("CACHEDNUM=") + item.value + ";").cached_num)
            << item.value;
    }
}

TEST(ConnStringParse, TheLastItemOfAKeyWins) {
    EXPECT_STREQ("c", Parsed("USER=a-long-name;UID=b;USERID=c").user);
    EXPECT_EQ(0u, Parsed("AUTO_COMMIT=on;autocommit=off").auto_commit);
}

TEST(ConnStringParse, TrimsBlanksAtBothEndsOnly) {
    EXPECT_STREQ("my base", Parsed("   DB   =   my base   ;").database);
    EXPECT_STREQ("\ta\t", Parsed("DB=\ta\t;").database);
    EXPECT_STREQ("", Parsed("DB=x;DB=    ;").database);
    EXPECT_STREQ("a=b==", Parsed("PWD=a=b==;").password);
}

TEST(ConnStringParse, CutsValuesToTheirFields) {
    EXPECT_STREQ("123.123.123.123", Parsed("IP=123.123.123.123;").ip);
    EXPECT_STREQ("123.123.123.123", Parsed("IP=123.123.123.1234;").ip);
    EXPECT_STREQ("123456789012345", Parsed("TIME_ZONE=123456789012345;").time_zone);
    EXPECT_STREQ("123456789012345", Parsed("TIME_ZONE=1234567890123456;").time_zone);
    EXPECT_STREQ("REPEATABLE READ", Parsed("ISO_LEVEL=REPEATABLE READ;").iso_level);
    EXPECT_STREQ("REPEATABLE READ", Parsed("ISO_LEVEL=REPEATABLE READS;").iso_level);
    EXPECT_STREQ("123456789012345", Parsed("LOCKTIMEOUT=123456789012345;").lock_timeout);
    EXPECT_STREQ("123456789012345", Parsed("LOCKTIMEOUT=1234567890123456789;").lock_timeout);
    for (size_t bytes : {31, 32, 63, 64, 100}) {
        const std::string value(bytes, 'v');
        EXPECT_EQ(std::string(31, 'v'), Parsed("CHARSET=" + value + ";").char_set) << bytes;
    }
    // What follows a field that is full is still zero.
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) { strcpy(a->time_zone, "123456789012345"); }),
                     Parsed("TIME_ZONE=" + std::string("1234567890123456789012345") + ";")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) { strcpy(a->lock_timeout, "999999999999999"); }),
                     Parsed("LOCKTIMEOUT=" + std::string(63, '9') + ";")));
}

TEST(ConnStringParse, CutsKeysAndValuesTo63Bytes) {
    for (size_t bytes : {63, 64, 100}) {
        const std::string value(bytes, 'v');
        EXPECT_EQ(std::string(63, 'v'), Parsed("DB=" + value + ";").database) << bytes;
        EXPECT_EQ(std::string(63, 'v'), Parsed("USER=" + value + ";").user) << bytes;
        EXPECT_EQ(std::string(63, 'v'), Parsed("PWD=" + value + ";").password) << bytes;
        EXPECT_EQ(std::string(63, 'v'), Parsed("ENCRYPTOR=" + value + ";").encryptor) << bytes;
    }
    const ConnStringAttrs nothing = Only([](ConnStringAttrs *) {});
    EXPECT_TRUE(Same(nothing, Parsed(std::string(120, 'k') + "=DB;")));
}

TEST(ConnStringParse, LockTimeoutTakesTheBytesOfTheValueAlone) {
    EXPECT_STREQ("423", Parsed("LOCKTIMEOUT=123;LOCK_TIMEOUT=4").lock_timeout);
    EXPECT_STREQ("123", Parsed("LOCKTIMEOUT=123;LOCK_TIMEOUT=").lock_timeout);
    EXPECT_STREQ("4567", Parsed("LOCKTIMEOUT=123;LOCK_TIMEOUT=4567").lock_timeout);
}

TEST(ConnStringParse, AnItemOf127CharactersIsTakenAndOneOf128IsNot) {
    const std::string fits = "DB=" + std::string(124, 'v');
    ASSERT_EQ(127u, fits.size());
    EXPECT_EQ(std::string(63, 'v'), Parsed(fits + ";").database);
    for (size_t more : {1, 2, 1000, 100000}) {
        const std::string item = fits + std::string(more, 'v');
        EXPECT_TRUE(Same(Only([](ConnStringAttrs *) {}), Parsed(item + ";"))) << item.size();
    }
}

TEST(ConnStringParse, AnItemOf128CharactersLeavesTheOthersAsTheyAre) {
    const std::string too_long = "DB=" + std::string(125, 'v');
    ASSERT_EQ(128u, too_long.size());
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) {
                         strcpy(a->user, "u");
                         a->port = 7;
                     }),
                     Parsed("USER=u;" + too_long + ";PORT=7")));
    EXPECT_TRUE(Same(Only([](ConnStringAttrs *a) { strcpy(a->user, "u"); }),
                     Parsed("USER=u;no sign;" + too_long + ";" + too_long)));
}

TEST(ConnStringParse, ReadsAnAddressListBesideOtherItems) {
    const ConnStringAttrs attrs = Parsed("ips=1.1.1.1,2.2.2.2;PORT=5138");
    EXPECT_EQ(1, attrs.has_ips);
    EXPECT_EQ(5138u, attrs.port);
    EXPECT_STREQ("", attrs.ip);
    ASSERT_NE(nullptr, attrs.ips);
    EXPECT_EQ(2, attrs.ips->count);
    EXPECT_STREQ("1.1.1.1", attrs.ips->items[0]);
    EXPECT_STREQ("2.2.2.2", attrs.ips->items[1]);
    ASSERT_NE(nullptr, attrs.ips->flags);
    EXPECT_EQ(0, attrs.ips->flags[0]);
    EXPECT_EQ(0, attrs.ips->flags[1]);
    EXPECT_EQ(nullptr, attrs.ips_text);
}

TEST(ConnStringParse, BetweenCommasAListHoldsOnlyItsFirstAddress) {
    const ConnStringAttrs attrs = Parsed("PORT=5138,ips=1.1.1.1,2.2.2.2,DB=d");
    EXPECT_EQ(1, attrs.has_ips);
    EXPECT_EQ("1.1.1.1", ListText(attrs));
    EXPECT_EQ(5138u, attrs.port);
    EXPECT_STREQ("d", attrs.database);
    EXPECT_STREQ("", attrs.ip);
}

TEST(ConnStringParse, KnowsAListByItsKeyAnywhereInTheItem) {
    EXPECT_EQ("1.1.1.1|2.2.2.2", ListText(Parsed("IPS=1.1.1.1,2.2.2.2;")));
    EXPECT_EQ("1.1.1.1|2.2.2.2", ListText(Parsed("     ips=1.1.1.1,2.2.2.2;")));
    // The addresses begin 4 characters behind the first that is no blank.
    EXPECT_EQ("s=1.1.1.1", ListText(Parsed("xxips=1.1.1.1;")));
    EXPECT_EQ("=1.1.1.1", ListText(Parsed(" xips=1.1.1.1;")));
    EXPECT_EQ("ame=tIPS=9|b", ListText(Parsed("DB name=tIPS=9,b;")));
    EXPECT_EQ("tIPS=9", ListText(Parsed("PWD=tIPS=9;")));
    EXPECT_STREQ("", Parsed("PWD=tIPS=9;").password);
}

TEST(ConnStringParse, KnowsNoListByAKeyOfMixedCaseOrWithABlank) {
    for (const char *text : {"Ips=1.1.1.1,2.2.2.2;", "iPS=1.1.1.1;", "ips =1.1.1.1;", "ip s=1;"}) {
        const ConnStringAttrs attrs = Parsed(text);
        EXPECT_EQ(0, attrs.has_ips) << text;
        EXPECT_EQ(nullptr, attrs.ips) << text;
    }
}

TEST(ConnStringParse, KeepsTheAddressesAsTheyAreWritten) {
    EXPECT_EQ("", ListText(Parsed("ips=;PORT=1")));
    EXPECT_EQ(1, Parsed("ips=;PORT=1").ips->count);
    EXPECT_EQ("a||b|", ListText(Parsed("ips=a,,b,;")));
    EXPECT_EQ(" 1.1.1.1 | 2.2.2.2 ", ListText(Parsed("ips= 1.1.1.1 , 2.2.2.2 ;")));
    const std::string long_text(300, '7');
    EXPECT_EQ(long_text + "|" + long_text,
              ListText(Parsed("ips=" + long_text + "," + long_text + ";")));
}

TEST(ConnStringParse, TheLastListWins) {
    EXPECT_EQ("2.2.2.2", ListText(Parsed("ips=1.1.1.1,3.3.3.3;IPS=2.2.2.2")));
}

// "ips=1,2,3" and so on up to `count`.
static std::string ListOf(int32_t count) {
    std::string text = "ips=";
    for (int32_t position = 1; position <= count; position++) {
        text += (position == 1 ? "" : ",") + std::to_string(position);
    }
    return text;
}

TEST(ConnStringParse, ReadsListsOfUpTo100Addresses) {
    for (int32_t count : {1, 2, 18, 19, 20, 21, 22, 98, 99, 100}) {
        testing::internal::CaptureStdout();
        const ConnStringAttrs attrs = Parsed(ListOf(count) + ";DB=d");
        EXPECT_EQ("", testing::internal::GetCapturedStdout()) << count;
        ASSERT_NE(nullptr, attrs.ips) << count;
        ASSERT_EQ(count, attrs.ips->count);
        ASSERT_NE(nullptr, attrs.ips->flags) << count;
        for (int32_t index = 0; index < count; index++) {
            EXPECT_EQ(std::to_string(index + 1), attrs.ips->items[index]) << count;
            EXPECT_EQ(0, attrs.ips->flags[index]) << count;
        }
        EXPECT_STREQ("d", attrs.database);
    }
}

TEST(ConnStringParse, StopsAListAtAddress101AndSaysSo) {
    for (int32_t count : {101, 102, 1000}) {
        testing::internal::CaptureStdout();
        const ConnStringAttrs attrs = Parsed(ListOf(count) + ";DB=d");
        EXPECT_EQ("set ips error \n", testing::internal::GetCapturedStdout()) << count;
        EXPECT_EQ(1, attrs.has_ips);
        ASSERT_NE(nullptr, attrs.ips) << count;
        EXPECT_EQ(99, attrs.ips->count) << count;
        EXPECT_STREQ("99", attrs.ips->items[98]) << count;
        EXPECT_EQ(nullptr, attrs.ips->flags) << count;
        EXPECT_STREQ("d", attrs.database);
    }
}

TEST(ConnStringParse, EndsWithoutMemoryWithWhatItHas) {
    bool reached = true;
    for (uint64_t n = 1; reached; n++) {
        MemFailAt(n);
        const ConnStringAttrs attrs = Parsed(ListOf(21) + ";DB=d");
        reached = MemFailed();
        MemFailAt(0);
        if (n == 1) {
            EXPECT_TRUE(Same(Only([](ConnStringAttrs *) {}), attrs));
            continue;
        }
        EXPECT_EQ(1, attrs.has_ips);
        EXPECT_STREQ("d", attrs.database);
        if (reached && attrs.ips != nullptr) {
            EXPECT_LE(attrs.ips->count, 21);
            EXPECT_EQ(nullptr, attrs.ips->flags);
        }
        EXPECT_EQ(n == 2, attrs.ips == nullptr);
        EXPECT_LT(n, 100u);
    }
}

TEST(IpsParse, OfATextWithoutItsKeyReadsNothingBehindTheEnd) {
    for (const char *text : {"", "i", "ip", "ips", "ips="}) {
        IpTextList list = {};
        EXPECT_EQ(1, IpsParse(&list, 20, text)) << text;
        EXPECT_EQ(1, list.count) << text;
        EXPECT_STREQ("", list.items[0]) << text;
        MemFree(list.items[0]);
        MemFree(list.items);
        MemFree(list.flags);
    }
}

TEST(IpsParse, SaysWhetherTheListWasWhole) {
    const int64_t blocks = MemLiveBlocks();
    for (int32_t count : {100, 101}) {
        IpTextList list = {};
        testing::internal::CaptureStdout();
        EXPECT_EQ(count == 100 ? 1 : 0, IpsParse(&list, 20, ListOf(count).c_str()));
        EXPECT_EQ(count == 100 ? "" : "set ips error \n", testing::internal::GetCapturedStdout());
        for (int32_t index = 0; index < list.count; index++) {
            MemFree(list.items[index]);
        }
        MemFree(list.items);
        MemFree(list.flags);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

struct ItemCase {
    const char *item;
    int32_t result;
    const char *key;
    const char *value;
};

TEST(ConnStringItem, SplitsAtTheFirstSignWithoutBlanksAtTheEnds) {
    const ItemCase cases[] = {
        {"DB=d", 1, "DB", "d"},
        {"  DB = d ", 1, "DB", "d"},
        {"a b= c d ", 1, "a b", "c d"},
        {"k==v", 1, "k", "=v"},
        {"k=v=w", 1, "k", "v=w"},
        {"=v", 1, "", "v"},
        {"k=", 1, "k", ""},
        {"=", 1, "", ""},
        {"   =   ", 1, "", ""},
        {"", 0, "", ""},
        {"k", 0, "", ""},
        {" key value ", 0, "", ""},
    };
    for (const ItemCase &item : cases) {
        char key[64];
        char value[64];
        memset(key, 'x', sizeof(key));
        memset(value, 'x', sizeof(value));
        EXPECT_EQ(item.result, ConnStringItem(item.item, key, value)) << item.item;
        EXPECT_STREQ(item.key, key) << item.item;
        EXPECT_STREQ(item.value, value) << item.item;
        EXPECT_EQ('\0', key[63]) << item.item;
        EXPECT_EQ('\0', value[63]) << item.item;
    }
}

TEST(ConnStringItem, CutsBothPartsTo63Bytes) {
    for (size_t bytes : {62, 63, 64, 500}) {
        char key[64];
        char value[64];
        const std::string item = std::string(bytes, 'k') + "=" + std::string(bytes, 'v');
        const size_t kept = bytes < 63 ? bytes : 63;
        EXPECT_EQ(1, ConnStringItem(item.c_str(), key, value));
        EXPECT_EQ(std::string(kept, 'k'), key);
        EXPECT_EQ(std::string(kept, 'v'), value);
    }
}

TEST(ConnStringToAttr, OfAnEmptyRecordGivesItsOwnDefaults) {
    const ConnStringAttrs attrs = Only([](ConnStringAttrs *) {});
    ConnAttr attr;
    memset(&attr, 'x', sizeof(attr));
    ConnStringToAttr(&attr, &attrs);
    EXPECT_STREQ("", attr.user);
    EXPECT_STREQ("", attr.password);
    EXPECT_STREQ("GBK", attr.char_set);
    EXPECT_STREQ("", attr.encryptor);
    EXPECT_STREQ("GTM+08:00", attr.time_zone);
    EXPECT_STREQ("READ COMMITED", attr.iso_level);
    EXPECT_STREQ("301", attr.version);
    EXPECT_EQ(0, attr.lock_timeout);
    EXPECT_EQ(0, attr.use_ssl);
    EXPECT_EQ(0, attr.auto_commit);
    EXPECT_EQ(0, attr.return_rowid);
    EXPECT_EQ(0, attr.return_schema);
    EXPECT_EQ(0, attr.lob_ret);
    EXPECT_EQ(0, attr.return_cursor_id);
}

TEST(ConnStringToAttr, CopiesWhatTheTextSaid) {
    const ConnStringAttrs attrs = Parsed(
        "USER=u;PWD=p;CHARSET=UTF8;ENCRYPTOR=e;TIME_ZONE=GMT;ISO_LEVEL=4;LOCKTIMEOUT=30;"
        "AUTO_COMMIT=on;USESSL=on;RETROWID=on;RETSCHEMA=on;LOBRET=on;retcursorid=on;");
    ConnAttr attr = {};
    ConnStringToAttr(&attr, &attrs);
    EXPECT_STREQ("u", attr.user);
    EXPECT_STREQ("p", attr.password);
    EXPECT_STREQ("UTF8", attr.char_set);
    EXPECT_STREQ("e", attr.encryptor);
    EXPECT_STREQ("GMT", attr.time_zone);
    EXPECT_STREQ("4", attr.iso_level);
    EXPECT_STREQ("301", attr.version);
    EXPECT_EQ(30, attr.lock_timeout);
    EXPECT_EQ(1, attr.use_ssl);
    EXPECT_EQ(1, attr.auto_commit);
    EXPECT_EQ(1, attr.return_rowid);
    EXPECT_EQ(1, attr.return_schema);
    EXPECT_EQ(1, attr.lob_ret);
    EXPECT_EQ(1, attr.return_cursor_id);
    EXPECT_EQ(0, attr.timeout);
    EXPECT_EQ(0, attr.reconnect);
}

// The flags that a text of one item gives the login.
static std::string LoginFlags(const char *text) {
    const ConnStringAttrs attrs = Parsed(text);
    ConnAttr attr = {};
    ConnStringToAttr(&attr, &attrs);
    return std::string(attr.use_ssl ? "ssl " : "") + (attr.auto_commit ? "commit " : "") +
           (attr.return_rowid ? "rowid " : "") + (attr.return_schema ? "schema " : "") +
           (attr.lob_ret ? "lob " : "") + (attr.return_cursor_id ? "cursor " : "");
}

TEST(ConnStringToAttr, TakesEachFlagFromItsField) {
    EXPECT_EQ("ssl ", LoginFlags("use_ssl=on;"));
    EXPECT_EQ("commit ", LoginFlags("AUTO_COMMIT=on;"));
    EXPECT_EQ("rowid ", LoginFlags("RETURN_ROWID=on;"));
    EXPECT_EQ("schema ", LoginFlags("RETURN_SCHEMA=on;"));
    EXPECT_EQ("lob ", LoginFlags("LOB_RET=on;"));
    EXPECT_EQ("cursor ", LoginFlags("retcursorid=on;"));
    EXPECT_EQ("", LoginFlags("USECACHERET=on;useservercursor=on;STRICTCOMMIT=on;RETASCHAR=on;"));
}

TEST(ConnStringToAttr, ReadsTheNumberOfTheLockTimeout) {
    struct {
        const char *text;
        int32_t number;
    } const cases[] = {
        {"15", 15},
        {"-3", -3},
        {"7s", 7},
        {"never", 0},
        {"999999999999999", 2147483647},
        {"-99999999999999", -2147483647 - 1},
    };
    for (const auto &item : cases) {
        ConnStringAttrs attrs = {};
        strcpy(attrs.lock_timeout, item.text);
        ConnAttr attr = {};
        ConnStringToAttr(&attr, &attrs);
        EXPECT_EQ(item.number, attr.lock_timeout) << item.text;
    }
}

TEST(ConnStringToAttr, AutoCommitIsOnForEveryNumberBut0) {
    for (uint32_t number : {1u, 2u, 256u, 0x80000000u}) {
        ConnStringAttrs attrs = {};
        attrs.auto_commit = number;
        ConnAttr attr = {};
        ConnStringToAttr(&attr, &attrs);
        EXPECT_EQ(1, attr.auto_commit) << number;
    }
}

TEST(ConnStringToAttr, ReadsFieldsThatAreFullToTheirLastByte) {
    ConnStringAttrs attrs;
    memset(&attrs, '9', sizeof(attrs));
    ConnAttr attr = {};
    ConnStringToAttr(&attr, &attrs);
    EXPECT_EQ(std::string(63, '9'), attr.user);
    EXPECT_EQ(std::string(63, '9'), attr.password);
    EXPECT_EQ(std::string(32, '9'), attr.char_set);
    EXPECT_EQ(std::string(16, '9'), attr.time_zone);
    EXPECT_EQ(std::string(16, '9'), attr.iso_level);
    EXPECT_EQ(std::string(63, '9'), attr.encryptor);
    EXPECT_EQ(2147483647, attr.lock_timeout);
    memcpy(attrs.lock_timeout, "0000000000000123", sizeof(attrs.lock_timeout));
    ConnStringToAttr(&attr, &attrs);
    EXPECT_EQ(123, attr.lock_timeout);
}
