#include "Figures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace quillet::bench {

double Figures::percentile(double percent) const {
    auto sorted = ms_;
    std::ranges::sort(sorted);
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::lround(last * percent / 100))];
}

void Report::times(const std::string& what, const Figures& figures, const std::string& budget) {
    if (figures.empty()) {
        skipped(what, "no result");
        return;
    }
    const auto text = [&figures](double percent) {
        return fmt::format("{:.3g} ms", figures.percentile(percent));
    };
    lines_.push_back({what, text(50), text(95), text(99), budget});
}

void Report::figure(const std::string& what, const std::string& value, const std::string& budget) {
    lines_.push_back({what, value, "", "", budget});
}

void Report::skipped(const std::string& what, const std::string& why) {
    lines_.push_back({what, "not measured: " + why, "", "", ""});
}

void Report::print() const {
    fmt::print("| what | p50 | p95 | p99 | budget |\n|---|---|---|---|---|\n");
    for (const auto& line : lines_)
        fmt::print("| {} | {} | {} | {} | {} |\n", line.what, line.p50, line.p95, line.p99,
                   line.budget);
}

std::chrono::duration<double, std::milli> timeOf(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - begin;
}

}  // namespace quillet::bench
