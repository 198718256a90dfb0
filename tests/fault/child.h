// A conversation in a process of its own, so that it may end in a wait that lasts for ever.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "fault/conversation.h"

enum Ending {
    ENDED_DIED,        // a signal or a sanitizer stopped the process
    ENDED_TOO_LATE,    // the process had to be killed
    ENDED_FINISHED,    // the conversation came to its end
    ENDED_WAITING,     // a wait of the library that nobody is left to end
    ENDED_UNANSWERED,  // the library reads on, and the server has nothing more to say
    ENDED_BAD_CODE,    // a call returned what it may not
    ENDED_SLOW_SERVER  // the server was busy elsewhere: to be run again
};

struct Outcome {
    Ending ending;
    int32_t wait_point;     // of ENDED_WAITING
    const char *last_call;  // the last one that returned
    int32_t last_code;
    const char *first_bad_call;  // that did not return what it does when nothing fails, or NULL
    int32_t first_bad_code;
    bool reached;     // the failure that the test has asked for has happened
    int64_t blocks;   // of memory that were not released
    int64_t threads;  // that are still there
    int64_t rows;     // of the table of many rows
    char problem[200];
};

// Runs a conversation with the development server in a child, up to one of the endings. `before`
// sets up what is to fail, and `reached` says afterwards whether it has. Both run in the child.
Outcome ConverseInChild(Manner manner, const std::function<void()> &before,
                        const std::function<bool()> &reached);

// The same with whoever answers at `link`.
Outcome ConverseInChild(const std::string &link, Manner manner, const std::function<void()> &before,
                        const std::function<bool()> &reached);

// The same with another body than a conversation with the server. `run` calls EndChild when it
// must, and otherwise comes back with all handles freed.
Outcome RunInChild(const std::function<void(Outcome *)> &run);

// Notes a call and its result in the outcome of this child; a result that may not be ends it.
void NoteCall(Outcome *outcome, const char *call, int32_t code);

// Ends this child at once with what it has found.
[[noreturn]] void EndChild(Ending ending);

// Makes the tables that the conversations read, in this process. Returns 0 when it could.
int32_t MakeTables();

// "ended in the wait 'end of the response', behind OCIStmtExecute = -5" and the like.
std::string Tell(const Outcome &outcome);

// Whether the library promises such an outcome: results that may be with no memory left over, or a
// wait that is stated.
bool IsPromised(const Outcome &outcome);
