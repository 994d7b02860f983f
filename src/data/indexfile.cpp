#include "data/indexfile.h"

#include "base/numbers.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/eventtypelist.h"

void indexfile::appendHeader(QByteArray &out, const Header &header)
{
    out += "Arc detect data file ;V1.0.0\nSensor Serial ;";
    out += datanames::lineSafe(header.sensorSerial).toUtf8();
    out += "\nChamber Serial;";
    out += datanames::lineSafe(header.chamberSerial).toUtf8();
    out += "\nConfiguration Data;";
    out += header.configurationWritten ? "OK" : "Error";
    out += "\nEnd Block Config;\n";
    if (!header.recipe.isEmpty()) {
        out += "Recipe Last Data;";
        out += header.recipe;
        out += '\n';
    }
}

void indexfile::appendBlockStart(QByteArray &out, int count)
{
    out += "Block Data;";
    appendInteger(out, qint64(count));
    out += '\n';
}

void indexfile::appendBlock(QByteArray &out, const QByteArray &folder, const QString &file, quint64 firstTime,
                            quint64 lastTime)
{
    out += "block;";
    out += folder;
    out += ';';
    out += file.toUtf8();
    out += ';';
    appendInteger(out, firstTime);
    out += ';';
    appendInteger(out, lastTime);
    out += '\n';
}

void indexfile::appendBlockEnd(QByteArray &out)
{
    out += "End Blocks;\n";
}

void indexfile::appendEventStart(QByteArray &out, int count)
{
    out += "Event Data;";
    appendInteger(out, qint64(count));
    out += '\n';
}

void indexfile::appendEventEnd(QByteArray &out)
{
    out += "End Events;\n";
}

namespace {

const std::vector<QByteArray> &typeNames()
{
    static const std::vector<QByteArray> names = [] {
        std::vector<QByteArray> list;
        for (const QString &name : eventtype::names())
            list.push_back(name.toUtf8());
        return list;
    }();
    return names;
}

void appendTypeName(QByteArray &out, const EventSummary &event)
{
    if (event.named)
        out += datanames::lineSafe(event.name).toUtf8();
    else if (event.typeCode >= 0 && event.typeCode < eventtype::builtInCount)
        out += typeNames()[static_cast<std::size_t>(event.typeCode)];
}

void appendFileName(QByteArray &out, const EventSummary &event)
{
    if (event.fileNumber > 0) {
        static const QByteArray extension = datanames::eventExtension().toUtf8();
        out += eventfile::namePrefix;
        appendInteger(out, qint64(event.fileNumber));
        out += extension;
    } else {
        out += event.otherFile.toUtf8();
    }
}

void appendSnapshot(QByteArray &out, const SnapshotSummary &snapshot)
{
    out += ';';
    appendInteger(out, snapshot.time);
    for (const double value : {snapshot.frequency, snapshot.voltage, snapshot.currentReal, snapshot.currentImaginary}) {
        out += ';';
        appendStreamNumber(out, value);
    }
}

} // namespace

void indexfile::appendEvent(QByteArray &out, const QByteArray &folder, const EventSummary &event)
{
    out += "Event;";
    out += folder;
    out += ';';
    appendFileName(out, event);
    out += ';';
    appendInteger(out, event.time);
    out += ';';
    appendTypeName(out, event);
    out += event.named ? ";1;" : ";0;";
    appendInteger(out, qint64(event.effectiveCode()));
    appendSnapshot(out, event.snapshot2);
    appendSnapshot(out, event.snapshot1);
    appendSnapshot(out, event.snapshot3);
    out += '\n';
}
