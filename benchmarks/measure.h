#pragma once

#include <algorithm>
#include <ctime>
#include <functional>
#include <malloc.h>
#include <vector>

/// The CPU time that the process has taken, which other programs on the machine hardly lengthen.
inline double cpu_seconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

inline double seconds(const std::function<void()>& work) {
    const double start = cpu_seconds();
    work();
    return cpu_seconds() - start;
}

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// The time that some work takes over the time that a reference takes: the median of each, after
/// they took turns for 2 seconds and at least 10 times, so that whatever else the machine does
/// meets both alike.
inline double ratio(const std::function<void()>& work, const std::function<void()>& reference) {
    std::vector<double> times;
    std::vector<double> reference_times;
    double spent = 0;
    for (int turn = 0; turn < 10 || spent < 2; ++turn) {
        // The second one finds the caches as the first one left them, so they change places.
        if (turn % 2 == 0) {
            times.push_back(seconds(work));
            reference_times.push_back(seconds(reference));
        } else {
            reference_times.push_back(seconds(reference));
            times.push_back(seconds(work));
        }
        spent += times.back() + reference_times.back();
    }
    return median(times) / median(reference_times);
}

/// In bytes, with what the allocator took from the system for single large blocks. Only the GNU C
/// library tells; with another it is 0.
inline size_t heap_in_use() {
#ifdef __GLIBC__
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#else
    return 0;
#endif
}
