#include "data/eventfile.h"

#include "base/bytes.h"
#include "base/coretext.h"
#include "base/safefile.h"
#include "data/datanames.h"

#include <QFileInfo>

namespace {

enum Flag : qint32 { Overridden = 1, Named = 2, WithRecipe = 4 };

constexpr int recordSize = sampleRecordSize(eventfile::currentVersion);

void appendText(QByteArray &out, const QByteArray &text)
{
    appendBigEndian<qint32>(out, text.size());
    out.append(text);
}

void appendSamples(QByteArray &out, const SamplePoint *samples, int count)
{
    const int start = out.size();
    out.resize(start + count * recordSize);
    encodeSamples(samples, count, reinterpret_cast<uchar *>(out.data() + start));
}

QByteArray takeText(ByteReader &reader)
{
    const qint32 length = reader.take<qint32>();
    const char *text = reader.takeBytes(length);
    return text ? QByteArray(text, length) : QByteArray();
}

SamplePoint takeSample(ByteReader &reader)
{
    const char *record = reader.takeBytes(recordSize);
    return record ? decodeSample(reinterpret_cast<const uchar *>(record), eventfile::currentVersion) : SamplePoint();
}

void takeSamples(ByteReader &reader, QVector<SamplePoint> &samples, bool wanted)
{
    const qint32 count = reader.take<qint32>();
    const char *records = reader.takeBytes(qint64(count) * recordSize);
    if (!records || !wanted)
        return;
    samples.resize(count);
    decodeSamples(reinterpret_cast<const uchar *>(records), count, eventfile::currentVersion, samples.data());
}

} // namespace

QByteArray eventfile::encode(const EventRecord &event)
{
    const bool withRecipe = !event.recipe.isEmpty();
    QByteArray out;
    out.reserve(64 + event.name.size() * 3 + (event.samples.size() + 3) * recordSize);
    appendBigEndian<qint32>(out, currentVersion);
    appendBigEndian<qint32>(out, 0);
    appendBigEndian<quint64>(out, event.time);
    appendBigEndian<qint32>(out, event.typeCode);
    appendBigEndian<qint32>(out, (event.isOverridden ? Overridden : 0) | (event.named ? Named : 0) |
                                     (withRecipe ? WithRecipe : 0));
    appendBigEndian<qint32>(out, event.overrideCode);
    appendText(out, event.name.toUtf8());
    for (const SamplePoint *snapshot : {&event.snapshot1, &event.snapshot2, &event.snapshot3})
        appendSamples(out, snapshot, 1);
    appendBigEndian<qint32>(out, event.samples.size());
    appendSamples(out, event.samples.constData(), event.samples.size());
    if (withRecipe)
        appendText(out, event.recipe.toCompactJSON());
    return out;
}

bool eventfile::decode(const QByteArray &bytes, EventRecord &event, QString *reason, Content content)
{
    const auto fail = [reason](const QString &text) {
        if (reason)
            *reason = text;
        return false;
    };
    ByteReader reader(bytes.constData(), bytes.size());
    const qint32 version = reader.take<qint32>();
    if (!reader.ok() || version != currentVersion)
        return fail(CoreText::tr("not an event file of version %1").arg(currentVersion));
    reader.take<qint32>();
    EventRecord result;
    result.time = reader.take<quint64>();
    result.typeCode = reader.take<qint32>();
    const qint32 flags = reader.take<qint32>();
    result.overrideCode = reader.take<qint32>();
    result.name = QString::fromUtf8(takeText(reader));
    result.snapshot1 = takeSample(reader);
    result.snapshot2 = takeSample(reader);
    result.snapshot3 = takeSample(reader);
    takeSamples(reader, result.samples, content == Content::Everything);
    const QByteArray recipe = (flags & WithRecipe) ? takeText(reader) : QByteArray();
    if (!reader.ok())
        return fail(CoreText::tr("the event file ends early"));
    if (reader.remaining() > 0)
        return fail(CoreText::tr("%1 bytes follow the end of the event").arg(reader.remaining()));
    if ((flags & ~(Overridden | Named | WithRecipe)) != 0)
        return fail(CoreText::tr("unknown event flags %1").arg(flags));
    if ((flags & WithRecipe) && !result.recipe.fromJSON(recipe))
        return fail(CoreText::tr("the event's recipe cannot be read"));
    result.isOverridden = (flags & Overridden) != 0;
    result.named = (flags & Named) != 0;
    result.loaded = content == Content::Everything;
    event = result;
    return true;
}

bool eventfile::read(const QString &path, EventRecord &event, QString *reason, Content content, bool *opened)
{
    if (opened)
        *opened = false;
    QByteArray bytes;
    const bool wasRead = readWholeFile(path, bytes, maximumSize, reason);
    if (opened)
        *opened = wasRead || QFileInfo(path).size() > maximumSize;
    return wasRead && decode(bytes, event, reason, content);
}

QString eventfile::fileName(qint32 number)
{
    return QLatin1String(namePrefix) + QString::number(number) + datanames::eventExtension();
}

qint32 eventfile::numberOf(const QString &fileName)
{
    const QLatin1String prefix(namePrefix);
    if (!fileName.startsWith(prefix) || !fileName.endsWith(datanames::eventExtension()))
        return 0;
    const int length = fileName.size() - prefix.size() - datanames::eventExtension().size();
    const qint32 number = fileName.midRef(prefix.size(), qMax(length, 0)).toInt();
    return number > 0 && number <= largestNumber && fileName == eventfile::fileName(number) ? number : 0;
}
