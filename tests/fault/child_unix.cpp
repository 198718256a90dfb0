// A conversation in a process of its own.
#include <dirent.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "fault/child.h"
#include "platform/debug.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/bytes.h"
#include "support/net.h"

constexpr int DEADLINE_MS = 60000;
// How long the server may be silent before it is asked whether it has anything to say.
constexpr int SILENCE_MS = 100;
constexpr int SERVER_DEADLINE_MS = 20000;
// For a semaphore that was released at the very moment at which the wait for it began.
constexpr int GRACE_MS = 1000;

// Of the child, shared with the parent.
static Outcome *child_outcome;
static int64_t blocks_at_start;
static int64_t threads_at_start;
static bool waits_alone;
static const std::function<bool()> *failure_reached;

static int64_t ThreadCount() {
    DIR *tasks = opendir("/proc/self/task");
    int64_t count = 0;
    for (dirent *entry = readdir(tasks); entry != nullptr; entry = readdir(tasks)) {
        count += entry->d_name[0] != '.';
    }
    closedir(tasks);
    return count;
}

static bool OthersRun() {
    return ThreadCount() > threads_at_start;
}

void EndChild(Ending ending) {
    child_outcome->ending = ending;
    child_outcome->reached = failure_reached != nullptr && (*failure_reached)();
    _exit(0);
}

static void OnGraceOver(int) {
    EndChild(ENDED_WAITING);
}

static void SetGrace(int milliseconds) {
    itimerval timer = {};
    timer.it_value = {milliseconds / 1000, milliseconds % 1000 * 1000};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

// As long as another thread runs a wait may end. Without one, nobody is left to end it.
static void OnWait(WaitPoint point) {
    child_outcome->wait_point = point;
    const bool polls = point == WAIT_RESPONSE_DONE || point == WAIT_ROWS_AHEAD ||
                       point == WAIT_ROW_COUNT || point == WAIT_AHEAD_RELEASE;
    if (!polls) {
        while (OthersRun()) {
            usleep(200);
        }
        SetGrace(GRACE_MS);
        return;
    }
    if (OthersRun()) {
        waits_alone = false;
        usleep(200);
        return;
    }
    // What is polled may have changed between the last look at it and the end of the other thread.
    if (waits_alone) {
        EndChild(ENDED_WAITING);
    }
    waits_alone = true;
}

// The server answers requests in their order: when it answers this one with its end alone, it had
// nothing else to say.
static void AskWhetherAllIsSaid(SocketId socket) {
    const Bytes question = Hex("'?' 00000007 'COMMIT;' 00 00000000");
    NetSend(socket, question.data(), question.size());
    uint8_t answer[2] = {};
    if (!NetReadable(socket, SERVER_DEADLINE_MS)) {
        snprintf(child_outcome->problem, sizeof child_outcome->problem, "the server is silent");
        EndChild(ENDED_TOO_LATE);
    }
    const bool all_said = NetReceive(socket, answer, sizeof answer) == 1 && answer[0] == 'K';
    EndChild(all_said ? ENDED_UNANSWERED : ENDED_SLOW_SERVER);
}

static int64_t ReceiveOrEnd(SocketId socket, void *bytes, size_t count) {
    if (socket == 0) return -1;
    if (!NetReadable(socket, SILENCE_MS)) {
        AskWhetherAllIsSaid(socket);
    }
    return NetReceive(socket, bytes, count);
}

void NoteCall(Outcome *outcome, const char *call, int32_t code) {
    SetGrace(0);
    waits_alone = false;
    outcome->last_call = call;
    outcome->last_code = code;
    if (!IsAllowed(call, code)) {
        EndChild(ENDED_BAD_CODE);
    }
}

static void AwaitThreads() {
    for (int tries = 0; OthersRun() && tries < SERVER_DEADLINE_MS; tries++) {
        usleep(1000);
    }
    child_outcome->threads = ThreadCount() - threads_at_start;
}

static void RunAsChild(const std::function<void(Outcome *)> &run) {
    signal(SIGALRM, OnGraceOver);
    threads_at_start = ThreadCount();
    WaitSetHook(OnWait);
    WaitSkipSleeps(true);
    DebugSetHook([](const char *) {});
    SocketSetHooks(nullptr, ReceiveOrEnd);
    blocks_at_start = MemLiveBlocks();
    run(child_outcome);
    SetGrace(0);
    AwaitThreads();
    child_outcome->blocks = MemLiveBlocks() - blocks_at_start;
    EndChild(ENDED_FINISHED);
}

// Collects the child, or kills it at its deadline. False when it did not end by itself.
static bool Collect(pid_t child) {
    int status = 0;
    for (int waited_us = 0; waited_us < DEADLINE_MS * 1000; waited_us += 200) {
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        usleep(200);
    }
    child_outcome->ending = ENDED_TOO_LATE;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return true;
}

// ThreadSanitizer starts threads of its own beside the first one of a process. In a process that
// has had one they are there before the fork, and a child can tell the library's threads from them.
static void StartFirstThread() {
    static bool started = false;
    if (!started) {
        std::thread([] {}).join();
        started = true;
    }
}

Outcome RunInChild(const std::function<void(Outcome *)> &run) {
    const int shared = MAP_SHARED | MAP_ANONYMOUS;
    void *page = mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, shared, -1, 0);
    child_outcome = (Outcome *)page;
    child_outcome->last_call = "(nothing)";
    StartFirstThread();
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        RunAsChild(run);
    }
    if (!Collect(child)) {
        child_outcome->ending = ENDED_DIED;
    }
    Outcome outcome = *child_outcome;
    munmap(page, sizeof(Outcome));
    return outcome;
}

static void Converse(Outcome *outcome, const std::string &link, Manner manner,
                     const std::function<void()> &before, const std::function<bool()> &reached) {
    Conversation conversation(link, manner, [&](const char *call, int32_t code) {
        NoteCall(outcome, call, code);
        outcome->rows = conversation.many_rows_read();
        const bool good =
            code == OCI_SUCCESS || (code == OCI_NO_DATA && strcmp(call, "OCIStmtFetch") == 0);
        if (!good && outcome->first_bad_call == nullptr) {
            outcome->first_bad_call = call;
            outcome->first_bad_code = code;
        }
    });
    failure_reached = &reached;
    before();
    conversation.Run();
    snprintf(outcome->problem, sizeof outcome->problem, "%s", conversation.Problem().c_str());
}

int32_t MakeTables() {
    return Conversation(ServerLink(), CAREFUL, [](const char *, int32_t) {}).Prepare();
}

Outcome ConverseInChild(const std::string &link, Manner manner, const std::function<void()> &before,
                        const std::function<bool()> &reached) {
    return RunInChild([&](Outcome *outcome) { Converse(outcome, link, manner, before, reached); });
}

Outcome ConverseInChild(Manner manner, const std::function<void()> &before,
                        const std::function<bool()> &reached) {
    Outcome outcome = {};
    for (int tries = 0; tries < 3; tries++) {
        outcome = ConverseInChild(ServerLink(), manner, before, reached);
        if (outcome.ending != ENDED_FINISHED || outcome.first_bad_call != nullptr) {
            // What the child has left in the database is not to be in the way of the next one.
            MakeTables();
        }
        if (outcome.ending != ENDED_SLOW_SERVER) break;
    }
    return outcome;
}

std::string Tell(const Outcome &outcome) {
    std::string text;
    switch (outcome.ending) {
        case ENDED_DIED: text = "died"; break;
        case ENDED_TOO_LATE: text = "had to be killed"; break;
        case ENDED_FINISHED: text = "finished"; break;
        case ENDED_WAITING:
            text = std::string("waits for: ") + WaitPointName((WaitPoint)outcome.wait_point);
            break;
        case ENDED_UNANSWERED: text = "waits for bytes that nobody sends"; break;
        case ENDED_BAD_CODE: text = "got a result that may not be"; break;
        case ENDED_SLOW_SERVER: text = "met a server that was busy three times"; break;
    }
    text +=
        std::string(", behind ") + outcome.last_call + " = " + std::to_string(outcome.last_code);
    if (outcome.first_bad_call != nullptr) {
        text += std::string(", first of all ") + outcome.first_bad_call + " = " +
                std::to_string(outcome.first_bad_code);
    }
    if (outcome.ending == ENDED_FINISHED) {
        text += ", " + std::to_string(outcome.blocks) + " blocks and " +
                std::to_string(outcome.threads) + " threads left, " + std::to_string(outcome.rows) +
                " rows";
    }
    return text + (outcome.problem[0] == '\0' ? "" : std::string(": ") + outcome.problem);
}

static bool IsStatedWait(int32_t point) {
    switch (point) {
        case WAIT_CONN_PERMIT:    // a reader that never started holds it
        case WAIT_CLOSE_PERMIT:   // the same, and the statement is freed
        case WAIT_RESPONSE_DONE:  // a response that was cut short, or rows that something followed
        case WAIT_ROWS_AHEAD: return true;
        default: return false;
    }
}

bool IsPromised(const Outcome &outcome) {
    switch (outcome.ending) {
        case ENDED_FINISHED:
            return outcome.blocks == 0 && outcome.threads == 0 && outcome.problem[0] == '\0';
        case ENDED_WAITING: return outcome.reached && IsStatedWait(outcome.wait_point);
        case ENDED_UNANSWERED: return outcome.reached;
        default: return false;
    }
}
