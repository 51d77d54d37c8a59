#pragma once

#include <string>
#include <vector>

#include "cli/CommandContext.h"

namespace quillet {

/// What was found of one thing that Quillet needs.
struct Finding {
    enum class Health {
        good,
        optional,  ///< it lacks, and Quillet works without it
        bad,
    };
    std::string what;
    Health health = Health::good;
    std::string sentence;
    std::string remedy;  ///< empty where there is nothing to do
};

/// Looks at everything that Quillet needs of this machine and says the remedy for what lacks.
class Examination {
public:
    explicit Examination(CommandContext& context) : context_(context) {}

    [[nodiscard]] std::vector<Finding> run();

private:
    [[nodiscard]] Finding application();
    [[nodiscard]] std::vector<Finding> desktop();
    [[nodiscard]] Finding microphone();
    [[nodiscard]] Finding accessibility();
    [[nodiscard]] Finding keyring();
    [[nodiscard]] Finding engine();
    [[nodiscard]] Finding server();
    [[nodiscard]] Finding history();

    CommandContext& context_;
};

}  // namespace quillet
