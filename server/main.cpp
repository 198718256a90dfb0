// The development server's program: options, signals, and one server.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "server/options.h"
#include "server/server.h"

namespace {

constexpr int EXIT_USAGE = 2;

// Both signals become readable bytes. They are blocked before any thread starts, so that all
// threads inherit that.
int StopDescriptor() {
    // Whoever reads the output may stop doing so.
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

int Serve(const tavud::Options &options) {
    const int stop_descriptor = StopDescriptor();
    tavud::Server server(options);
    std::printf("tavud: listening on %s port %u\n", options.bind_address.c_str(),
                static_cast<unsigned>(server.Port()));
    std::fflush(stdout);
    server.Run(stop_descriptor);
    close(stop_descriptor);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        const tavud::Options options =
            tavud::ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
        if (options.help) {
            std::fputs(tavud::HelpText(), stdout);
            return 0;
        }
        return Serve(options);
    } catch (const tavud::BadOption &bad) {
        std::fprintf(stderr, "tavud: %s; tavud --help tells what there is\n", bad.what());
        return EXIT_USAGE;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "tavud: %s\n", failure.what());
        return 1;
    }
}
