#pragma once

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QTcpSocket>

/// Carries the requests to one sensor over a connection of its own that stays open between them, one request at a time.
/// Everything happens in the thread that made it, and nothing that a peer sends can keep it busy or fill the memory:
/// the toolkit's own transfer reads a header without end for ever, in a thread that then cannot be told to stop. A
/// request is sent again, once, only when a connection that was open already turns out to be closed before it answers,
/// and never when it carries `onceAttribute`. No redirect, proxy, cookie or cache; http only.
class SensorAccess final : public QNetworkAccessManager
{
    Q_OBJECT

public:
    static constexpr auto onceAttribute = QNetworkRequest::User;

    explicit SensorAccess(QObject *parent = nullptr);
    ~SensorAccess() override;

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *body) override;

private:
    friend class SensorReply;
    bool isOpenTo(const QString &host, int port) const;

    QTcpSocket m_socket;
    QString m_host;
    int m_port = 0;
};
