#include <malloc.h>

#include <ctime>

#include <fstream>
#include <string>

#include "WatchedLoop.h"

namespace quillet::bench {

double threadTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double residentMemory() {
    ::malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    statm >> pages >> pages;
    return static_cast<double>(pages) * 4'096 / (1 << 20);
}

double peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kibibytes = 0;
        if (word == "VmHWM:" && status >> kibibytes)
            return kibibytes / 1'024;
    }
    return 0;
}

void forgetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

}  // namespace quillet::bench
