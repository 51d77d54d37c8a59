#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "simulate/Witness.h"

namespace quillet::world {

/// Something that happens in an evening. What it does with its numbers is its own business, so that
/// an evening stays one whatever is dropped from it.
struct Happening {
    std::size_t what = 0;  ///< which row of the table of happenings
    std::uint32_t a = 0;
    std::uint32_t b = 0;
};
using Happenings = std::vector<Happening>;

/// Draws an evening. The same seed gives the same evening everywhere.
[[nodiscard]] Happenings drawEvening(std::uint64_t seed);

struct Evening {
    std::optional<std::string> complaint;  ///< what the program did wrong first
    std::size_t happened = 0;              ///< up to then
    Tally tally;
};

/// Lives through an evening, up to the first complaint; tells of it as it goes where `story` is
/// given.
[[nodiscard]] Evening liveThrough(const Happenings& happenings, std::ostream* story = nullptr);

/// The shortest evening that dropping happenings from this one leaves, in which the same promise is
/// broken.
[[nodiscard]] Happenings shrunk(Happenings happenings);

}  // namespace quillet::world
