#include "base/platform.h"
#include "compare.h"
#include "data/journal.h"
#include "data/norvexdata.h"
#include "session/session.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>

#include <vector>

// What a recording leaves in memory: ten million samples of a bay of sensors, journaled, and saved and let go as often
// as at 1,000 samples a second of each.

namespace {

constexpr int sensorCount = 16;
constexpr int pageSize = 20;
constexpr int pagesPerSave = 500; // 10 s
constexpr int pagesPerClear = 50; // sensors wait with the next frame until the journal has the last one
constexpr int total = 10000000;
constexpr double megabyte = 1024.0 * 1024.0;

class Recording
{
public:
    Recording()
    {
        m_session = Session::create(m_folder.filePath(QStringLiteral("session")), nullptr);
        for (int i = 0; i < sensorCount; ++i)
            m_stores.push_back(
                m_session->addSensor(QStringLiteral("SN%1").arg(i), QStringLiteral("Etch"), QString(), 80));
    }

    /// Records until there are so many samples; gives the megabytes resident just before the last save.
    double recordTo(int samples)
    {
        double resident = 0;
        while (m_taken < samples) {
            for (int page = 1; page <= pagesPerSave; ++page) {
                takePages();
                if (page % pagesPerClear == 0)
                    waitUntilDurable();
            }
            resident = double(platform::residentMemory()) / megabyte;
            if (!m_session->save())
                return -1;
            m_session->unloadIdleBlocks();
        }
        return resident;
    }

private:
    void waitUntilDurable()
    {
        QEventLoop loop;
        m_session->journal()->whenDurable(&loop, [&](bool) { loop.quit(); });
        loop.exec();
    }

    void takePages()
    {
        QVector<SamplePoint> page(pageSize);
        for (SamplePoint &sample : page) {
            sample.time = m_time += 1000;
            sample.voltage = double(m_time % 977);
        }
        for (const auto &store : m_stores)
            store->addSamples(page);
        m_taken += pageSize * sensorCount;
    }

    QTemporaryDir m_folder;
    std::unique_ptr<Session> m_session;
    std::vector<std::shared_ptr<norvexData>> m_stores;
    quint64 m_time = 1700000000000000;
    int m_taken = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    Recording recording;
    const double early = recording.recordTo(total / 10);
    const double late = recording.recordTo(total);
    const auto measured = [](double amount) {
        return [amount](benchmark::State &state) {
            if (amount <= 0)
                state.SkipWithError("cannot save");
            return amount;
        };
    };
    bench::atMost("resident with 10 million samples recorded", 200, "MB", measured(late), 1);
    bench::compareAmounts("resident with 10 million samples recorded", 0.95, "MB", "with 1 million", measured(late),
                          measured(early), 1);
    return bench::run(argc, argv);
}
