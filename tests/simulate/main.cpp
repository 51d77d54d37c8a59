#include <atomic>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>

#include "simulate/Evening.h"

// quillet_simulate [--evenings N] [--jobs N] [--seed S]: lives through random evenings and tells
// what the program does wrong in them. With a seed alone, tells of that one evening as it goes.

using namespace quillet::world;

namespace {

struct Options {
    std::optional<std::uint64_t> seed;
    std::uint64_t evenings = 10'000;
    unsigned jobs = 1;
};

std::optional<Options> optionsFrom(int count, char** arguments) {
    Options options;
    bool several = false;
    for (int i = 1; i < count; i += 2) {
        const std::string_view name = arguments[i];
        char* end = nullptr;
        const auto value = i + 1 < count ? std::strtoull(arguments[i + 1], &end, 10) : 0;
        if (end == nullptr || *end != '\0')
            return std::nullopt;
        if (name == "--seed")
            options.seed = value;
        else if (name == "--evenings")
            options.evenings = value;
        else if (name == "--jobs")
            options.jobs = static_cast<unsigned>(value);
        else
            return std::nullopt;
        several = several || name == "--evenings";
    }
    if (options.seed && !several)
        options.evenings = 1;
    return options;
}

/// What all evenings together came to.
struct Sum {
    std::atomic<std::uint64_t> next;
    std::mutex mutex;
    std::uint64_t evenings = 0;
    std::uint64_t happenings = 0;
    std::uint64_t failures = 0;
    Tally tally;
};

constexpr std::uint64_t mostFailures = 5;

/// The evening that this thread lives through, for the case that it ends the whole program.
std::uint64_t& seedUnderWay() {
    thread_local std::uint64_t seed = 0;
    return seed;
}

void tellFailure(std::uint64_t seed, const Happenings& happenings) {
    const auto shortest = shrunk(happenings);
    std::cout << "seed " << seed << " fails; " << shortest.size() << " of " << happenings.size()
              << " happenings are enough:\n";
    const auto evening = liveThrough(shortest, &std::cout);
    std::cout << "  => " << evening.complaint.value_or("") << "\n\n" << std::flush;
}

void work(Sum& sum, std::uint64_t firstSeed, std::uint64_t evenings) {
    for (auto i = sum.next++; i < evenings; i = sum.next++) {
        seedUnderWay() = firstSeed + i;
        const auto happenings = drawEvening(firstSeed + i);
        const auto evening = liveThrough(happenings);
        const std::scoped_lock lock(sum.mutex);
        ++sum.evenings;
        sum.happenings += evening.happened;
        for (const auto& [what, count] : evening.tally)
            sum.tally[what] += count;
        if (evening.complaint && ++sum.failures <= mostFailures)
            tellFailure(firstSeed + i, happenings);
        if (sum.failures >= mostFailures)
            sum.next = evenings;
    }
}

bool simulate(const Options& options, std::uint64_t firstSeed) {
    Sum sum;
    {
        std::vector<std::jthread> workers;
        for (unsigned i = 0; i < std::max(options.jobs, 1U); ++i)
            workers.emplace_back([&] { work(sum, firstSeed, options.evenings); });
    }
    std::cout << sum.evenings << " evenings, " << sum.happenings << " happenings, " << sum.failures
              << " failures\n";
    for (const auto& [what, count] : sum.tally)
        std::cout << std::setw(9) << count << "  " << what << '\n';
    return sum.failures == 0;
}

bool tell(std::uint64_t seed) {
    const auto evening = liveThrough(drawEvening(seed), &std::cout);
    std::cout << (evening.complaint ? "=> " + *evening.complaint : "all is well") << '\n';
    return !evening.complaint;
}

}  // namespace

int main(int count, char** arguments) {
    const auto options = optionsFrom(count, arguments);
    if (!options) {
        std::cerr << "usage: quillet_simulate [--evenings N] [--jobs N] [--seed S]\n";
        return 2;
    }
    if (options->seed && options->evenings == 1)
        return tell(*options->seed) ? 0 : 1;
    std::set_terminate([] {
        std::cout << "seed " << seedUnderWay() << " ends the program\n" << std::flush;
        std::abort();
    });
    const auto firstSeed = options->seed.value_or(std::random_device()());
    std::cout << "first seed: " << firstSeed << '\n';
    return simulate(*options, firstSeed) ? 0 : 1;
}
