// Module: a file beside the program, and whether another process still runs.

#include <Bases/Module.h>

#include <iostream>
#include <string>

int main() {
    // The folder of the program, whoever asks.
    std::string folder;
    Novu::GetModuleDir(folder);
    if (folder.empty()) {
        return 1;
    }
    const std::string settings = folder + "/settings.xml";
    std::cout << (settings.front() == '/' ? "absolute" : "relative") << '\n';

    // Such a number could have been read from a file. 0 and numbers from
    // 0x80000000 on stand for groups of processes: leave them out.
    const unsigned int other = Novu::GetProcessId();
    if (other != 0 && other < 0x80000000 && Novu::IsExistProcess(other)) {
        std::cout << "it runs\n";
    }
}

// Prints:
//   absolute
//   it runs
