#include "ctl/WorkerReport.h"

#include <quarn/Text.h>

#include <stdio.h>

#include <algorithm>

namespace unit {

using quarn::Format;

namespace {

/// "NAME: STATUS, N work calls" behind "Worker "; false for another line.
bool ParseHeading(const std::string& line, WorkerFigures& worker) {
    const std::string start = "Worker ";
    const size_t colon = line.rfind(": ");
    const size_t comma = line.rfind(", ");
    unsigned long runs = 0;
    if (!line.starts_with(start) || colon == std::string::npos || comma == std::string::npos ||
        comma < colon || sscanf(line.c_str() + comma, ", %lu work calls", &runs) != 1)
        return false;
    worker.name = line.substr(start.size(), colon - start.size());
    worker.status = line.substr(colon + 2, comma - colon - 2);
    worker.runs = runs;
    return true;
}

/// "Timeout  12  33": a reason, its count and its share.
bool ParseReason(const std::string& line, WorkerFigures& worker) {
    const std::string text = quarn::TrimRight(line);
    const size_t countEnd = text.find_last_not_of(' ', text.rfind(' '));
    const size_t countStart = text.rfind(' ', countEnd);
    if (countEnd == std::string::npos || countStart == std::string::npos)
        return false;
    unsigned long count = 0;
    int end = 0;
    if (sscanf(text.c_str() + countStart, "%lu %*u%n", &count, &end) != 1 ||
        countStart + static_cast<size_t>(end) != text.size())
        return false;
    const std::string reason = quarn::TrimRight(text.substr(0, countStart));
    if (reason == "Timeout")
        worker.timeouts = count;
    else if (reason == "Event")
        worker.events = count;
    else if (reason.starts_with("fd "))
        worker.descriptors[reason] += count;
    else
        return false;
    return true;
}

/// The lines between the heading and the table of reasons.
bool ParseWork(const std::string& line, WorkerFigures& worker) {
    unsigned long average = 0;
    unsigned long longest = 0;
    if (sscanf(line.c_str(), "  duration: %*u %*u %lu %*u %lu", &average, &longest) == 2 ||
        sscanf(line.c_str(), "Event work: 1 occurrence, duration %lu", &average) == 1) {
        worker.averageUs = average;
        worker.longestUs = std::max(average, longest);
        return true;
    }
    return line.starts_with("Event work:") || line.starts_with("  interval:") ||
           line.starts_with("Wakeups by reason ") ||
           (line.starts_with("Reason") && line.find("Count") != std::string::npos);
}

uint64_t DescriptorWakes(const WorkerFigures& worker) {
    uint64_t sum = 0;
    for (const auto& [descriptor, count] : worker.descriptors)
        sum += count;
    return sum;
}

/// Counters start anew when somebody clears them.
std::string Rate(uint64_t before, uint64_t now, double seconds) {
    return Format("%.1f", static_cast<double>(now >= before ? now - before : now) / seconds);
}

}  // namespace

std::vector<WorkerFigures> ParseWorkerReport(const std::list<std::string>& lines) {
    std::vector<WorkerFigures> workers;
    for (const std::string& line : lines) {
        WorkerFigures next;
        if (ParseHeading(line, next))
            workers.push_back(next);
        else if (!workers.empty() && !ParseWork(line, workers.back()) && !ParseReason(line, workers.back()))
            workers.back().extras.push_back(quarn::TrimRight(line));
    }
    return workers;
}

std::list<std::string> FormatWorkerReport(const std::vector<WorkerFigures>& before,
                                          const std::vector<WorkerFigures>& now, double seconds) {
    std::list<std::list<std::string>> rows = {
        {"worker", "status", "runs/s", "timeouts/s", "events/s", "descriptors/s", "work us", "longest us"}};
    std::list<std::string> extras;
    for (const WorkerFigures& worker : now) {
        const auto found = std::find_if(before.begin(), before.end(), [&](const WorkerFigures& other) {
            return other.name == worker.name;
        });
        const WorkerFigures start = found == before.end() ? WorkerFigures() : *found;
        rows.push_back({worker.name, worker.status, Rate(start.runs, worker.runs, seconds),
                        Rate(start.timeouts, worker.timeouts, seconds),
                        Rate(start.events, worker.events, seconds),
                        Rate(DescriptorWakes(start), DescriptorWakes(worker), seconds),
                        Format("%lu", worker.averageUs), Format("%lu", worker.longestUs)});
        if (!worker.extras.empty())
            extras.push_back(worker.name + ":");
        for (const std::string& line : worker.extras)
            extras.push_back("  " + line);
    }
    std::list<std::string> lines = quarn::FormatColumnarList(rows);
    if (!extras.empty())
        lines.emplace_back();
    lines.splice(lines.end(), extras);
    return lines;
}

}  // namespace unit
