// Mistakes made on purpose, one an argument, for the thread sanitizer to report; "none" makes none.

#include <QMutex>
#include <QThread>

#include <cstring>

namespace {

QMutex first;
QMutex second;
int counter = 0; // guarded by `first`, where nobody is careless

class Counting final : public QThread
{
public:
    explicit Counting(bool careful) : m_careful(careful) {}

protected:
    void run() override
    {
        for (int i = 0; i < 1000; ++i) {
            if (m_careful)
                first.lock();
            ++counter;
            if (m_careful)
                first.unlock();
        }
    }

private:
    const bool m_careful;
};

void countTwice(bool oneIsCareful, bool otherIsCareful)
{
    Counting one(oneIsCareful);
    Counting other(otherIsCareful);
    one.start();
    other.start();
    one.wait();
    other.wait();
    ++counter; // both have ended
}

void lockInTwoOrders()
{
    const auto lockBoth = [](QMutex &outer, QMutex &inner) {
        const QMutexLocker outerLock(&outer);
        const QMutexLocker innerLock(&inner);
    };
    lockBoth(first, second);
    lockBoth(second, first);
}

} // namespace

int main(int argc, char **argv)
{
    const char *mistake = argc > 1 ? argv[1] : "";
    if (std::strcmp(mistake, "none") == 0)
        countTwice(true, true);
    else if (std::strcmp(mistake, "no-lock") == 0)
        countTwice(false, false);
    else if (std::strcmp(mistake, "one-forgets") == 0)
        countTwice(true, false);
    else if (std::strcmp(mistake, "two-orders") == 0)
        lockInTwoOrders();
    else
        return 2;
    return 0;
}
