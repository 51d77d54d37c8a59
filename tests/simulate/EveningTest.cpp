#include <gtest/gtest.h>

#include "simulate/Evening.h"

namespace quillet::world {
namespace {

constexpr std::uint64_t evenings = 300;

TEST(Evening, RandomOnesKeepEveryPromise) {
    Tally tally;
    for (std::uint64_t seed = 1; seed <= evenings; ++seed) {
        const auto evening = liveThrough(drawEvening(seed));
        ASSERT_FALSE(evening.complaint)
            << "quillet_simulate --seed " << seed << " tells: " << *evening.complaint;
        for (const auto& [what, count] : evening.tally)
            tally[what] += count;
    }
    // Nothing is proved by evenings in which nothing happens.
    for (const auto* what : {"delivered", "live, delivered", "amended", "sent by itself",
                             "cancelled", "left on the clipboard", "words kept as a recording",
                             "returned to an AI client", "crashed in mid-dictation"})
        EXPECT_GT(tally[what], 10) << what;
}

}  // namespace
}  // namespace quillet::world
