// How long something keeps the processor busy, whatever else the machine does.
#pragma once

#include <ctime>

template <class Work>
double ProcessorSeconds(Work work) {
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}
