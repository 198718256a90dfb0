// The program: its options, its line on standard output, its signals and its files.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "server/raw_client.h"

extern char **environ;

namespace tavud_test {
namespace {

// The program lies beside the tests.
std::string ProgramPath() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/tavud";
}

// A running program with its output and its temporary folder.
class Program {
public:
    explicit Program(const std::vector<std::string> &arguments) {
        EXPECT_EQ(0, pipe2(output_, O_CLOEXEC));
        EXPECT_EQ(0, pipe2(errors_, O_CLOEXEC));
        char folder[] = "/tmp/tavud-test-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(folder));
        folder_ = folder;
        Start(arguments);
        close(output_[1]);
        close(errors_[1]);
    }

    ~Program() {
        if (!waited_) {
            kill(process_, SIGKILL);
            Wait();
        }
        close(output_[0]);
        close(errors_[0]);
        std::filesystem::remove_all(folder_);
    }

    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    // One line of standard output, without its end.
    std::string ReadLine() {
        return ReadLineOf(output_[0]);
    }
    std::string ReadErrorLine() {
        return ReadLineOf(errors_[0]);
    }
    std::string ReadAll() {
        std::string all;
        char c = 0;
        while (read(output_[0], &c, 1) == 1) {
            all.push_back(c);
        }
        return all;
    }
    // Reads the line that tells the port.
    uint16_t ReadPort() {
        const std::string line = ReadLine();
        const std::string head = "tavud: listening on 127.0.0.1 port ";
        EXPECT_EQ(head, line.substr(0, head.size()));
        return line.size() > head.size()
                   ? static_cast<uint16_t>(std::stoi(line.substr(head.size())))
                   : uint16_t{0};
    }
    void Signal(int number) {
        kill(process_, number);
    }
    // The exit code, or minus the signal that ended it.
    int Wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        waited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    const std::string &Folder() const {
        return folder_;
    }

private:
    void Start(const std::vector<std::string> &arguments) {
        std::vector<std::string> texts = arguments;
        texts.insert(texts.begin(), ProgramPath());
        std::vector<char *> pointers;
        for (std::string &text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
        std::string temporary = "TMPDIR=" + folder_;
        std::vector<char *> environment;
        for (char **entry = environ; *entry != nullptr; entry++) {
            if (std::string(*entry).rfind("TMPDIR=", 0) != 0) environment.push_back(*entry);
        }
        environment.push_back(temporary.data());
        environment.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output_[1], 1);
        posix_spawn_file_actions_adddup2(&actions, errors_[1], 2);
        EXPECT_EQ(0, posix_spawn(&process_, texts[0].c_str(), &actions, nullptr, pointers.data(),
                                 environment.data()))
            << texts[0];
        posix_spawn_file_actions_destroy(&actions);
    }

    static std::string ReadLineOf(int descriptor) {
        std::string line;
        char c = 0;
        while (read(descriptor, &c, 1) == 1 && c != '\n') {
            line.push_back(c);
        }
        return line;
    }

    int output_[2] = {-1, -1};
    int errors_[2] = {-1, -1};
    std::string folder_;
    pid_t process_ = -1;
    bool waited_ = false;
};

bool IsEmpty(const std::string &folder) {
    return std::filesystem::is_empty(folder);
}

TEST(Program, PrintsThePortThatItTookAndServesOnIt) {
    Program program({"--port", "0", "--db", ":memory:"});
    RawClient client(program.ReadPort());
    client.LogIn();
    client.Ask("COMMIT;", DONE);
}

TEST(Program, SigtermEndsItWithOpenConnectionsAndLeavesNothing) {
    Program program({"--port", "0"});
    const uint16_t port = program.ReadPort();
    const RawClient silent(port);
    RawClient client(port);
    client.LogIn();
    client.Ask("create table T (a integer)", DONE);
    EXPECT_FALSE(IsEmpty(program.Folder()));
    program.Signal(SIGTERM);
    EXPECT_EQ(0, program.Wait());
    client.ExpectEnd();
    EXPECT_TRUE(IsEmpty(program.Folder()));
}

TEST(Program, SigintEndsItToo) {
    Program program({"--port", "0"});
    program.ReadPort();
    program.Signal(SIGINT);
    EXPECT_EQ(0, program.Wait());
    EXPECT_TRUE(IsEmpty(program.Folder()));
}

TEST(Program, AFileKeepsWhatWasCommittedAndNothingElse) {
    char folder[] = "/tmp/tavud-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    const std::string file = std::string(folder) + "/data.db";
    {
        Program program({"--port", "0", "--db", file});
        RawClient client(program.ReadPort());
        client.LogIn();
        client.Ask("create table T (a integer)", DONE);
        client.Ask("insert into T values (1)", Inserted("1"));
        client.Ask("COMMIT;", DONE);
        client.Ask("insert into T values (2)", Inserted("2"));
        program.Signal(SIGTERM);
        EXPECT_EQ(0, program.Wait());
    }
    {
        Program program({"--port=0", "--db=" + file});
        RawClient client(program.ReadPort());
        client.LogIn();
        client.Ask("delete from T", Deleted(1));
    }
    std::filesystem::remove_all(folder);
}

TEST(Program, ABadFrameLeavesALineOnStandardError) {
    Program program({"--port", "0"});
    RawClient client(program.ReadPort());
    client.LogIn();
    client.Send(Wire("3f fffffffb"));
    client.ExpectEnd();
    const std::string line = program.ReadErrorLine();
    EXPECT_EQ("tavud: connection 1 from 127.0.0.1:", line.substr(0, 35));
    const std::string tail = ": bad frame: request text of -5 bytes, limit 67108864";
    ASSERT_GT(line.size(), tail.size());
    EXPECT_EQ(tail, line.substr(line.size() - tail.size()));
}

TEST(Program, HelpNamesEveryOption) {
    Program program({"--help"});
    const std::string help = program.ReadAll();
    EXPECT_EQ(0, program.Wait());
    for (const char *option :
         {"--port", "--bind", "--db", "--database", "--user", "--protocol", "--ssl", "--key",
          "--lob-inline", "--help", "5138", "SYSDBA:SYSDBA", "listening on"}) {
        EXPECT_NE(std::string::npos, help.find(option)) << option;
    }
}

TEST(Program, WrongOptionsEndItWithCode2) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--port", "65536"},
        {"--port", "x"},
        {"--port"},
        {"--user", "nobody"},
        {"--protocol", "1"},
        {"--what", "1"},
        {"nothing"},
        {"--ssl=1"},
        {"--key", "file"},
        {"--ssl", "--key"},
        {"--ssl", "--key", ""},
        {"--lob-inline", "-1"},
        {"--lob-inline", "2k"},
        {"--lob-inline", "2147483648"},
        {"--lob-inline="},
    };
    for (const std::vector<std::string> &arguments : wrong) {
        Program program(arguments);
        EXPECT_EQ("tavud: ", program.ReadErrorLine().substr(0, 7)) << arguments[0];
        EXPECT_EQ(2, program.Wait()) << arguments[0];
    }
}

TEST(Program, WhatItCannotOpenEndsItWithCode1) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--port", "0", "--db", "/nonexistent/folder/data"},
        {"--port", "0", "--bind", "localhost"},
        {"--port", "0", "--bind", "203.0.113.1"},
        {"--port", "0", "--ssl", "--key=/nonexistent/folder/key"},
    };
    for (const std::vector<std::string> &arguments : wrong) {
        Program program(arguments);
        EXPECT_EQ("tavud: ", program.ReadErrorLine().substr(0, 7)) << arguments[3];
        EXPECT_EQ(1, program.Wait()) << arguments[3];
        EXPECT_TRUE(IsEmpty(program.Folder()));
    }
}

TEST(Options, DefaultsAreThePublishedOnes) {
    const tavud::Options options = tavud::ParseOptions({});
    EXPECT_EQ("127.0.0.1", options.bind_address);
    EXPECT_EQ(5138, options.port);
    EXPECT_EQ(":memory:", options.database_file);
    EXPECT_EQ("SYSTEM", options.database_name);
    EXPECT_EQ(301, options.protocol);
    EXPECT_FALSE(options.cipher);
    EXPECT_EQ("", options.key_file);
    EXPECT_EQ(2048U, options.lob_inline_bytes);
    ASSERT_EQ(1U, options.users.size());
    EXPECT_EQ("SYSDBA", options.users[0].name);
    EXPECT_EQ("SYSDBA", options.users[0].password);
}

TEST(Options, TheCipherTakesNoValueAndItsKeyFileOne) {
    const tavud::Options options = tavud::ParseOptions({"--ssl", "--key", "pair", "--port=7"});
    EXPECT_TRUE(options.cipher);
    EXPECT_EQ("pair", options.key_file);
    EXPECT_EQ(7, options.port);
    EXPECT_TRUE(tavud::ParseOptions({"--key=k", "--ssl"}).cipher);
}

TEST(Options, UsersReplaceTheDefaultAndAPasswordMayHoldColons) {
    const tavud::Options options = tavud::ParseOptions({"--user", "A:x:y", "--user=B:"});
    ASSERT_EQ(2U, options.users.size());
    EXPECT_EQ("A", options.users[0].name);
    EXPECT_EQ("x:y", options.users[0].password);
    EXPECT_EQ("B", options.users[1].name);
    EXPECT_EQ("", options.users[1].password);
}

}  // namespace
}  // namespace tavud_test
