// Bytes put aside: a file without a name that goes with its record.
#include "server/spool.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "server/errors.h"

namespace tavud {

namespace {

[[noreturn]] void Fail(const char *what) {
    throw StatementRefused(CODE_GENERAL, std::string(what) + ": " + std::strerror(errno));
}

int OpenNamelessFile() {
    std::error_code unknown;
    std::filesystem::path folder = std::filesystem::temp_directory_path(unknown);
    if (unknown) folder = "/tmp";
    std::string pattern = folder.string() + "/tavud-spool-XXXXXX";
    const int file = mkostemp(pattern.data(), O_CLOEXEC);
    if (file < 0) Fail("cannot make a temporary file");
    unlink(pattern.c_str());
    return file;
}

}  // namespace

Spool::~Spool() {
    if (file_ >= 0) close(file_);
}

uint64_t Spool::Append(std::string_view bytes) {
    if (file_ < 0) file_ = OpenNamelessFile();
    const uint64_t place = size_;
    uint64_t end = size_;
    while (!bytes.empty()) {
        const ssize_t written = pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(end));
        if (written < 0) {
            if (errno == EINTR) continue;
            Fail("cannot write a temporary file");
        }
        end += static_cast<uint64_t>(written);
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    size_ = end;
    return place;
}

void Spool::Read(uint64_t place, char *bytes, size_t count) const {
    while (count > 0) {
        const ssize_t got = pread(file_, bytes, count, static_cast<off_t>(place));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) Fail("cannot read a temporary file");
        if (got == 0) throw StatementRefused(CODE_GENERAL, "a temporary file has been cut");
        place += static_cast<uint64_t>(got);
        bytes += got;
        count -= static_cast<size_t>(got);
    }
}

}  // namespace tavud
