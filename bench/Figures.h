#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace quillet::bench {

/// Measured times of one thing.
class Figures {
public:
    void add(std::chrono::duration<double, std::milli> time) { ms_.push_back(time.count()); }
    [[nodiscard]] double percentile(double percent) const;
    [[nodiscard]] bool empty() const { return ms_.empty(); }

private:
    std::vector<double> ms_;
};

/// The table that is printed: a line for each thing, beside its budget.
class Report {
public:
    /// One line with percentiles, in milliseconds.
    void times(const std::string& what, const Figures& figures, const std::string& budget);
    /// One line with a single figure.
    void figure(const std::string& what, const std::string& value, const std::string& budget);
    void skipped(const std::string& what, const std::string& why);
    void print() const;

private:
    struct Line {
        std::string what;
        std::string p50;
        std::string p95;
        std::string p99;
        std::string budget;
    };
    std::vector<Line> lines_;
};

[[nodiscard]] std::chrono::duration<double, std::milli> timeOf(const std::function<void()>& work);

// What is measured, a file each.
void measurePauseDetector(Report& report);
void measureHistory(Report& report);
void measureRecognition(Report& report);
void measureCancelling(Report& report);
void measureCommand(Report& report);
void measureIdle(Report& report);
void measureLive(Report& report);
void measureDictation(Report& report);
void measureWriting(Report& report);
void measureNight(Report& report);
void measureMeeting(Report& report);

}  // namespace quillet::bench
