#include "base/clock.h"

#include <QDateTime>

#include <chrono>

namespace {

class SystemClock final : public Clock
{
public:
    qint64 utcMs() const override { return QDateTime::currentMSecsSinceEpoch(); }

    qint64 steadyMs() const override
    {
        const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count();
    }
};

} // namespace

const Clock &systemClock()
{
    static const SystemClock clock;
    return clock;
}
