#include "sensor/sensorrequest.h"

#include <QUrlQuery>

#include <array>

namespace sensorrequest {
namespace {

struct Entry
{
    eMessage kind;
    QString text; // page, or a word that stands for an outcome without a page
};

// In the order in which a reply is classified.
const std::array<Entry, 11> &entries()
{
    static const std::array<Entry, 11> list{{
        {eMessage::Frame, QStringLiteral("service/frame.cgi")},
        {eMessage::Status, QStringLiteral("service/status.cgi")},
        {eMessage::Data, QStringLiteral("service/pulsedata.cgi")},
        {eMessage::Data, QStringLiteral("service/databis.cgi")},
        {eMessage::Events, QStringLiteral("service/events.cgi")},
        {eMessage::Config, QStringLiteral("service/config.cgi")},
        {eMessage::Recipe, QStringLiteral("service/recipe.cgi")},
        {eMessage::Info, QStringLiteral("service/info.cgi")},
        {eMessage::EventTrigger, QStringLiteral("service/eventtrigger.cgi")},
        {eMessage::ConnectionError, QStringLiteral("ConnectionError")},
        {eMessage::TimedOut, QStringLiteral("TimeoutError")},
    }};
    return list;
}

QString postFragment()
{
    return QStringLiteral("post");
}

} // namespace

const QString &dataPage()
{
    return page(eMessage::Data);
}

const QString &oldDataPage()
{
    return entries()[3].text;
}

const QString &page(eMessage kind)
{
    static const QString none;
    if (kind == eMessage::ConnectionError || kind == eMessage::TimedOut)
        return none;
    for (const Entry &entry : entries()) {
        if (entry.kind == kind)
            return entry.text;
    }
    return none;
}

QUrl downloadUrl(const QString &address, quint16 port, const QString &page, const QString &query)
{
    return QUrl(QStringLiteral("http://%1:%2/%3?%4").arg(address, QString::number(port), page, query));
}

QUrl uploadUrl(const QString &address, quint16 port, const QString &page)
{
    QUrl url(QStringLiteral("http://%1:%2/%3?").arg(address, QString::number(port), page));
    url.setFragment(postFragment());
    return url;
}

QString dataQuery(quint64 index, quint64 limit)
{
    return QStringLiteral("index=%1&limit=%2").arg(index).arg(limit);
}

QString eventQuery(quint64 index)
{
    return QStringLiteral("index=%1&binary=1").arg(index);
}

QString clearQuery(quint64 lastIndex)
{
    return QStringLiteral("clear_index=%1").arg(lastIndex);
}

eMessage classify(const QUrl &url)
{
    const QString path = url.path();
    if (!url.query().contains(QLatin1String(".cgi"))) { // nearly always the path is a page and nothing else is
        for (const Entry &entry : entries()) {
            if (path.size() == entry.text.size() + 1 && path.endsWith(entry.text))
                return entry.kind;
        }
    }
    const QString text = url.toString();
    for (const Entry &entry : entries()) {
        if (text.contains(entry.text, Qt::CaseInsensitive))
            return entry.kind;
    }
    return eMessage::Unknown;
}

bool isUpload(const QUrl &url)
{
    return url.fragment() == postFragment();
}

bool isClear(const QUrl &url)
{
    static const QString key = QStringLiteral("clear_index");
    const QString query = url.query();
    return query.contains(key) && QUrlQuery(query).hasQueryItem(key);
}

bool runsOnce(const QUrl &url)
{
    return isClear(url) || (isUpload(url) && classify(url) == eMessage::EventTrigger);
}

std::optional<quint64> index(const QUrl &url)
{
    bool ok = false;
    const quint64 value = QUrlQuery(url).queryItemValue(QStringLiteral("index")).toULongLong(&ok);
    return ok ? std::optional<quint64>(value) : std::nullopt;
}

qint64 replyLimit(eMessage kind)
{
    constexpr qint64 mebibyte = 1024 * 1024;
    return kind == eMessage::Events ? 8 * mebibyte : mebibyte;
}

const QByteArray &notFoundPage()
{
    static const QByteArray page("<html><body><h1>HTTP/1.0 404 - File Not Found</h1></body></html>");
    return page;
}

const QByteArray &snapshotTrigger()
{
    static const QByteArray body("{\r\n\"trigger\":\"SNAP\"\r\n}");
    return body;
}

} // namespace sensorrequest
