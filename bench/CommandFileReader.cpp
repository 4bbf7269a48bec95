// CommandFileReader: the least a C++ CUPS filter does, as the benchmark's floor: it reads the
// command file with the shared libcups and writes the commands it found to stderr.
#include <cups/file.h>

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char* argv[]) {
    cups_file_t* file = argc > 6 ? cupsFileOpen(argv[6], "r") : cupsFileStdin();
    if (file == nullptr) return 0;
    std::vector<std::string> commands;
    char line[1024];
    while (cupsFileGets(file, line, sizeof line) != nullptr) {
        if (line[0] != '#' && line[0] != '\0') commands.emplace_back(line);
    }
    cupsFileClose(file);
    for (const std::string& command : commands) std::fprintf(stderr, "DEBUG: %s\n", command.c_str());
    return 0;
}
