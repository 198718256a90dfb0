// One connection from its login to its end.
#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "server/channel.h"
#include "server/cursor.h"
#include "server/database.h"
#include "server/execute.h"
#include "server/key_pair.h"
#include "server/options.h"
#include "server/request.h"

namespace tavud {

class Session {
public:
    // All are borrowed and outlive the session. `key_pair` is null when the enciphered login is
    // refused.
    Session(Channel *channel, const Options &options, const KeyPair *key_pair,
            const Database &database, const std::atomic<bool> *stopping);

    // Returns after a refused login; otherwise leaves by ConnectionClosed, BadFrame or
    // DatabaseFailure.
    void Run();

private:
    using Statements = std::vector<Statement>;

    void Answer(Request *request);
    void Dispatch(Request *request);
    void PrepareNamed(const TokenisedText &text);
    void Deallocate(const TokenisedText &text);
    void DeclareCursor(const TokenisedText &text, std::vector<Parameter> parameters);
    void FetchCursor(const TokenisedText &text);
    void RunAll(Statements *statements, const Request &request);
    void CompileAhead(Statements *statements);
    void WriteDescriptions(const Statements &statements);
    Statements *Named(const std::string &name);

    const Options &options_;
    const KeyPair *key_pair_;
    const Database &database_;
    Patience patience_;
    DatabaseHandle handle_;
    Workplace place_;
    // Behind the handle, so that they go first. Names are in capitals.
    std::map<std::string, Statements> prepared_;
    Cursors cursors_;
};

}  // namespace tavud
