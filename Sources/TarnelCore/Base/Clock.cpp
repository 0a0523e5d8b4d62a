#include "TarnelCore/Base/Clock.h"
#include <thread>

namespace tarnel {

namespace {

class SystemClock final : public Clock {
public:
    Timestamp now() const override
    {
        return std::chrono::time_point_cast<Timestamp::duration>(std::chrono::system_clock::now());
    }
    Instant elapsed() const override { return std::chrono::steady_clock::now(); }
    void sleep(std::chrono::nanoseconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace

Clock& Clock::system()
{
    static SystemClock clock;
    return clock;
}

} // namespace tarnel
