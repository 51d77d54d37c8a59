#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/GlibPointers.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier)
struct _AtspiAccessible;

namespace quillet {

/// Reads what a window shows around its focused field: first backwards from the field, as far as is
/// wanted, so that in a long page only what is near takes time. On the accessibility worker's
/// thread only.
class AtspiWindowText {
public:
    using Accessible = _AtspiAccessible;
    using TimePoint = std::chrono::steady_clock::time_point;

    AtspiWindowText(std::size_t mostCharacters, TimePoint deadline)
        : mostCharacters_(mostCharacters), deadline_(deadline) {}

    /// The lines that stand before a field, filled up with those after it.
    [[nodiscard]] std::string around(Accessible* field);
    /// The last lines of a window without a field.
    [[nodiscard]] std::string of(Accessible* window);

private:
    enum class Direction { backwards, onwards };
    struct Lines {
        Direction direction = Direction::backwards;
        std::vector<std::string> lines;  ///< in the order in which they were found
        std::size_t characters = 0;      ///< with a line feed for each line
    };

    void readFrom(Accessible* field, Lines& into);
    void readWithin(Accessible* node, int depth, Lines& into);
    [[nodiscard]] static std::string textOf(Accessible* node, Direction direction);
    static void add(std::string_view text, Lines& into);
    [[nodiscard]] std::string together() const;
    [[nodiscard]] bool isOver() const;

    std::size_t mostCharacters_;
    TimePoint deadline_;
    Lines before_{.direction = Direction::backwards};
    Lines after_{.direction = Direction::onwards};
};

}  // namespace quillet
