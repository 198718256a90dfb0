// A library that breaks the rules of the shipped one, so that the export check can be tested: it
// needs the shared C++ runtime.
#include <string>

extern "C" __attribute__((visibility("default"))) std::size_t Greedy(const char *text);

std::size_t Greedy(const char *text) {
    std::string copy(text);
    copy.append(text);
    return copy.find(text, 1);
}
