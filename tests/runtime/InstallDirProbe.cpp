// Prints what FindInstallationDirectory() answers when this program runs
// from wherever the test copied it. With an argument, sets ORVADIR5 to it
// afterwards and asks again, to show that a failed lookup is retried.
#include "runtime/templates/InstallationDirectory.h"

#include <cstdio>
#include <cstdlib>

namespace {
void Print(const char* directory) {
    std::printf("%s\n", directory != nullptr ? directory : "(null)");
}
} // namespace

int main(int argc, char** argv) {
    Print(orva::templates::platform::FindInstallationDirectory());
    if (argc > 1) {
        ::setenv("ORVADIR5", argv[1], 1); // NOLINT(concurrency-mt-unsafe): single-threaded program
        Print(orva::templates::platform::FindInstallationDirectory());
    }
    return 0;
}
