#include "fuzz.h"

#include <QDir>
#include <QFile>

#include <cstring>
#include <memory>

namespace {

/// Runs one input from a heap block of exactly its size, so that the sanitizers see a read past its end.
void runInput(const QByteArray &input)
{
    const auto size = static_cast<std::size_t>(input.size());
    const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[size]);
    std::memcpy(copy.get(), input.constData(), size);
    LLVMFuzzerTestOneInput(copy.get(), size);
}

} // namespace

int main(int argc, char **argv)
{
    constexpr int longestSweep = 2000; // cuts of a longer input are spread evenly
    if (argc != 2)
        return 2;
    const QDir corpus(QString::fromLocal8Bit(argv[1]));
    int inputs = 0;
    for (const QFileInfo &entry : corpus.entryInfoList(QDir::Files, QDir::Name)) {
        QFile file(entry.filePath());
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        const QByteArray input = file.readAll();
        const int step = 1 + input.size() / longestSweep;
        for (int size = 0; size < input.size(); size += step)
            runInput(input.left(size));
        runInput(input);
        ++inputs;
    }
    std::printf("%d inputs replayed from %s\n", inputs, qPrintable(corpus.path()));
    return inputs > 0 ? 0 : 1;
}
