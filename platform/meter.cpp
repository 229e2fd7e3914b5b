// When the host is told of long work.
#include "platform/meter.h"

#include "platform/clock.h"

#include <algorithm>

namespace vfile_internal::platform {

void Meter::Begin() {
    outer = progress.running;
    progress.running = this;
    left = Quantum;
    lastTold = GetTickCount();
}

bool Meter::Look() {
    if (stopped || !progress.call) return !stopped;
    left = Quantum;
    const std::uint32_t now = GetTickCount();
    if (done - told < Distance && now - lastTold < Interval) return true;
    told = done;
    stopped = !Tell();
    lastTold = GetTickCount(); // the host's own time is not the work's
    if (stopped) left = 0;
    return !stopped;
}

bool Meter::Tell() {
    const Meter* whole = this;
    std::int64_t all = done;
    for (; whole->outer; all += whole->done) whole = whole->outer;
    if (whole->total != Unknown) all = std::min(all, whole->total);
    const Silence silence;
    return progress.call(progress.context, whole->work, all, whole->total);
}

} // namespace vfile_internal::platform
