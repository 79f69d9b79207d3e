#include <quarn/LocalTime.h>
#include <quarn/RecurringEvent.h>
#include <quarn/Text.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace quarn {

namespace {

constexpr size_t kRecent = 10;

// The last few samples of a figure and its extremes ever.
struct Samples {
    std::array<uint64_t, kRecent> ring{};
    uint64_t minimumEver = 0;
    uint64_t maximumEver = 0;

    // `index` counts the samples since the figures were started afresh.
    void Add(uint64_t index, uint64_t sample) {
        ring[index % kRecent] = sample;
        minimumEver = index == 0 ? sample : std::min(minimumEver, sample);
        maximumEver = index == 0 ? sample : std::max(maximumEver, sample);
    }

    std::string Describe(const char* title, uint64_t count) const {
        const size_t filled = std::min<uint64_t>(count, kRecent);
        const auto end = ring.begin() + static_cast<std::ptrdiff_t>(filled);
        const auto [minimum, maximum] = std::minmax_element(ring.begin(), end);
        const uint64_t average = std::accumulate(ring.begin(), end, uint64_t{0}) / filled;
        return Format("  %s:  %lu %lu %lu %lu %lu", title, minimumEver, *minimum, average, *maximum,
                      maximumEver);
    }
};

struct Figures {
    uint64_t count = 0;
    Samples intervals;
    Samples durations;
    uint64_t enterTick = 0;  // 0 outside an occurrence
    uint64_t previousEnterTick = 0;
};

}  // namespace

class RecurringEvent::Impl {
public:
    explicit Impl(const char* eventName) : name(eventName) {}

    void Leave() {
        const uint64_t now = Tick();
        if (figures.count > 0)
            figures.intervals.Add(figures.count - 1, figures.enterTick - figures.previousEnterTick);
        figures.durations.Add(figures.count, now - figures.enterTick);
        ++figures.count;
        ++leaveCount;
        figures.previousEnterTick = figures.enterTick;
        figures.enterTick = 0;
    }

    const std::string name;
    Figures figures;
    uint64_t leaveCount = 0;
};

RecurringEvent::RecurringEvent(const char* name) : impl_(std::make_unique<Impl>(name)) {}

RecurringEvent::~RecurringEvent() = default;

void RecurringEvent::Enter() {
    impl_->figures.enterTick = Tick();
}

void RecurringEvent::Leave() {
    if (impl_->figures.enterTick != 0)
        impl_->Leave();
}

void RecurringEvent::Clear() {
    impl_->figures.count = 0;
    impl_->leaveCount = 0;
}

void RecurringEvent::Copy(const RecurringEvent& other) {
    impl_->figures = other.impl_->figures;
}

bool RecurringEvent::HasHappened() const {
    return impl_->figures.count != 0;
}

uint64_t RecurringEvent::GetEventCount() const {
    return impl_->figures.count;
}

uint64_t RecurringEvent::GetMaximumDurationUs() const {
    return HasHappened() ? impl_->figures.durations.maximumEver : 0;
}

uint64_t RecurringEvent::GetCumulativeDurationUs() const {
    return impl_->leaveCount;
}

void RecurringEvent::Log(std::list<std::string>& lines) const {
    const char* name = impl_->name.c_str();
    const Figures& figures = impl_->figures;
    if (figures.count == 0) {
        lines.push_back(Format("Event %s: no occurrences", name));
    } else if (figures.count == 1) {
        lines.push_back(Format("Event %s: 1 occurrence, duration %luus", name, figures.durations.ring[0]));
    } else {
        lines.push_back(Format(
            "Event %s: %lu occurrences, [min-ever min-recent avg-recent max-recent max-ever (us)]:", name,
            figures.count));
        lines.push_back(figures.intervals.Describe("interval", figures.count - 1));
        lines.push_back(figures.durations.Describe("duration", figures.count));
    }
}

}  // namespace quarn
