#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace quillet {

/// What `quillet transcribe` is told: one program reads it, for its help and the manual, and hands
/// it to the other, which does the work.
struct TranscribeOptions {
    std::vector<std::string> files;
    std::string engine;    ///< empty: as the settings say
    std::string language;  ///< the same

    /// Must stay where it is until the command line is parsed.
    void addTo(CLI::App& parser);
};

}  // namespace quillet
