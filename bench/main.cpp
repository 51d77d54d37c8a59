#include <string_view>
#include <utility>

#include "Figures.h"

/// Measures everything, or what is named on the command line.
int main(int argc, char** argv) {
    using namespace quillet::bench;
    constexpr std::pair<std::string_view, void (*)(Report&)> all[] = {
        {"pauses", measurePauseDetector},
        {"history", measureHistory},
        {"recognition", measureRecognition},
        {"cancelling", measureCancelling},
        {"command", measureCommand},
        {"writing", measureWriting},
        {"live", measureLive},
        {"night", measureNight},
        {"meeting", measureMeeting},
        {"dictation", measureDictation},
        {"idle", measureIdle},
    };
    Report report;
    for (const auto& [name, measure] : all) {
        bool wanted = argc == 1;
        for (int i = 1; i < argc; ++i)
            wanted = wanted || name == argv[i];
        if (wanted)
            measure(report);
    }
    report.print();
    return 0;
}
