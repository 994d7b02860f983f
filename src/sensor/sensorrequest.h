#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

/// The kinds of request to a sensor, and of the replies.
enum class eMessage : int {
    Unknown = 0,
    Info = 1,
    Frame = 2,
    Status = 3,
    Data = 4,
    Events = 5,
    Config = 6,
    Recipe = 7,
    EventTrigger = 8,
    TimedOut = 9,
    ConnectionError = 10,
};

/// The pages of a sensor: how a request's URL is built and how a reply's URL is told apart. Pure functions.
///
/// An upload has the same page as the download of the same record; the fragment "post", which never reaches the wire,
/// tells their outcomes apart.
namespace sensorrequest {

/// The sample pages. A connection starts with the current one; older sensors know only the other.
const QString &dataPage();    // "service/pulsedata.cgi"
const QString &oldDataPage(); // "service/databis.cgi"
/// The page of a kind, empty for a kind without one. Data has dataPage().
const QString &page(eMessage kind);

QUrl downloadUrl(const QString &address, quint16 port, const QString &page, const QString &query = {});
QUrl uploadUrl(const QString &address, quint16 port, const QString &page);

QString dataQuery(quint64 index, quint64 limit);
QString eventQuery(quint64 index);
QString clearQuery(quint64 lastIndex);

/// The kind that a reply's URL belongs to, Unknown for none. Both sample pages are Data.
eMessage classify(const QUrl &url);
bool isUpload(const QUrl &url);
bool isClear(const QUrl &url);
/// True for what a sensor must not be asked twice on one intention: a clear and the snapshot trigger.
bool runsOnce(const QUrl &url);
/// The index of a sample or event record that a URL asks for.
std::optional<quint64> index(const QUrl &url);
/// The largest reply that is accepted from a page, in bytes.
qint64 replyLimit(eMessage kind);

/// What a sensor answers for a page it does not have.
const QByteArray &notFoundPage();
/// The body that makes a sensor record a snapshot event.
const QByteArray &snapshotTrigger();

} // namespace sensorrequest
