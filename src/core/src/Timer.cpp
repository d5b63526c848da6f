#include "Timer.h"

#include <sys/time.h>

void Timer::start(const std::string& label) {
    TimerRecord& record = times[label];
    struct timeval now;
    gettimeofday(&now, nullptr);
    record.startSec = now.tv_sec;
    record.startUsec = now.tv_usec;
}

void Timer::stop(const std::string& label) {
    auto it = times.find(label);
    if (it == times.end()) return;
    struct timeval now;
    gettimeofday(&now, nullptr);
    TimerRecord& record = it->second;
    long sec = now.tv_sec - record.startSec;
    long usec = now.tv_usec - record.startUsec;
    if (usec < 0) {
        sec--;
        usec += 1000000;
    }
    record.calls++;
    record.milliseconds += sec * 1000 + usec / 1000;
}

float Timer::getSeconds(const std::string& label) const {
    auto it = times.find(label);
    if (it == times.end()) return -1.0f;
    return (float)(it->second.milliseconds / 1000.0);
}

void Timer::merge(const Timer* other) {
    if (!other) return;
    for (const auto& [label, record] : other->times) {
        TimerRecord& mine = times[label];
        mine.calls += record.calls;
        mine.milliseconds += record.milliseconds;
    }
}

void Timer::dumpTimes(FILE* stream) const {
    if (!stream) return;
    fprintf(stream, "Timer Results:\n");
    for (const auto& [label, record] : times) {
        double perCall = record.calls ? (double)record.milliseconds / record.calls : 0.0;
        fprintf(stream, "   %s:  %.1f secs, %d calls, %.2f msecs/call\n", label.c_str(),
                record.milliseconds / 1000.0, record.calls, perCall);
    }
    fprintf(stream, "\n");
}
