// Named wall-clock totals: how long, and how often, each labelled step ran.
#pragma once

#include <cstdio>
#include <map>
#include <string>

struct TimerRecord {
    long startSec = 0;
    long startUsec = 0;
    int calls = 0;
    long milliseconds = 0;
};

class Timer {
public:
    // Starts (or restarts) the clock of a label, creating it when new.
    void start(const std::string& label);
    // Adds the time since start to the label and counts a call; unknown labels are ignored.
    void stop(const std::string& label);
    // Total seconds of a label, or -1.0 if unknown.
    float getSeconds(const std::string& label) const;
    // Adds the calls and times of every label of other into this timer.
    void merge(const Timer* other);
    // Prints all labels in label order; nothing for a null stream.
    void dumpTimes(FILE* stream) const;

    std::map<std::string, TimerRecord> times;
};
