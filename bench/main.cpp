#include <cstdio>

#include "Figures.h"

int main() {
    using namespace quillet::bench;
    Report report;
    measurePauseDetector(report);
    measureHistory(report);
    measureRecognition(report);
    measureCommand(report);
    measureDictation(report);
    measureIdle(report);
    report.print();
    return 0;
}
