#include "cli/Becoming.h"

#include <unistd.h>

#include "platform/linux/SystemServices.h"

namespace quillet {

std::string becomeProgram(std::string_view name, std::vector<std::string> words) {
    auto program = programBeside(name).string();
    std::vector<char*> argv = {program.data()};
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    return program + " cannot be started. Install Quillet again.";
}

}  // namespace quillet
