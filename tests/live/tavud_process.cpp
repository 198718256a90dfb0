// A development server in a process of its own.
#include "live/tavud_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "support/net.h"

// The program lies beside the tests.
static std::string ProgramPath() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/tavud";
}

// One line without its end; what came so far when the stream ends.
static std::string ReadLine(int descriptor) {
    std::string line;
    char character = 0;
    while (read(descriptor, &character, 1) == 1 && character != '\n') {
        line.push_back(character);
    }
    return line;
}

TavudProcess::TavudProcess(const std::string &address, uint16_t port,
                           const std::vector<std::string> &options)
    : address_(address) {
    Start(port, options);
}

void TavudProcess::Start(uint16_t port, const std::vector<std::string> &options) {
    char folder[] = "/tmp/tavud-live-XXXXXX";
    EXPECT_NE(nullptr, mkdtemp(folder));
    folder_ = folder;
    Spawn(port, options);
    const std::string head = "tavud: listening on " + address_ + " port ";
    const std::string line = ReadLine(output_);
    port_ = line.rfind(head, 0) == 0 ? (uint16_t)std::stoi(line.substr(head.size())) : (uint16_t)0;
}

void TavudProcess::Spawn(uint16_t port, const std::vector<std::string> &options) {
    std::vector<std::string> texts = {ProgramPath(), "--bind", address_, "--port",
                                      std::to_string(port)};
    texts.insert(texts.end(), options.begin(), options.end());
    std::vector<char *> arguments;
    for (std::string &text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    int output[2];
    int errors[2];
    ASSERT_EQ(0, pipe2(output, O_CLOEXEC));
    ASSERT_EQ(0, pipe2(errors, O_CLOEXEC));
    process_ = fork();
    ASSERT_GE(process_, 0);
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no server behind
        dup2(output[1], 1);
        dup2(errors[1], 2);
        setenv("TMPDIR", folder_.c_str(), 1);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(output[1]);
    close(errors[1]);
    output_ = output[0];
    errors_ = errors[0];
}

TavudProcess::~TavudProcess() {
    Kill();
}

bool TavudProcess::Listens() const {
    return port_ != 0;
}

uint16_t TavudProcess::port() const {
    return port_;
}

void TavudProcess::Kill() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    close(output_);
    close(errors_);
    std::filesystem::remove_all(folder_);
}

void TavudProcess::Restart(const std::vector<std::string> &options) {
    const uint16_t port = port_;
    Kill();
    probes_ = 0;
    Start(port, options);
    EXPECT_TRUE(Listens());
}

// The server tells the number of a connection on which it was not spoken to as it wants to be.
int64_t TavudProcess::ConnectionCount() {
    const uintptr_t probe = NetConnect(port_);
    if (probe == NET_NONE) return -1;
    NetSend(probe, "x", 1);
    const std::string head = "tavud: connection ";
    const std::string line = ReadLine(errors_);
    NetClose(probe, false);
    if (line.rfind(head, 0) != 0) {
        ADD_FAILURE() << "the server says: " << line;
        return -1;
    }
    const int64_t number = std::stoll(line.substr(head.size()));
    probes_++;
    return number - probes_;
}
