#pragma once

#include "display/look/theme.h"
#include "support/pseudotranslator.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QStyleFactory>
#include <QTextStream>
#include <QWidget>

#include <functional>
#include <memory>

/// What the programs that make pictures share: PROGRAM FOLDER [SCENE], light and dark, at the scale of QT_SCALE_FACTOR.
/// With NORVEX_PSEUDO set, in a language that is 40 % longer.
namespace pictures {

inline void settle(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

/// The application object and what the command line asks for.
class Program
{
public:
    Program(int &argc, char **argv)
    {
        // The scale comes from QT_SCALE_FACTOR alone, not from the screen that happens to be there.
        QApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
        QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
        QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
        m_application = std::make_unique<QApplication>(argc, argv);
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        if (qEnvironmentVariableIsSet("NORVEX_PSEUDO"))
            QCoreApplication::installTranslator(&m_language);
        if (argc < 2) {
            QTextStream(stderr) << "usage: " << argv[0] << " FOLDER [SCENE]\n";
            return;
        }
        m_usable = true;
        m_folder = QDir(QString::fromLocal8Bit(argv[1]));
        m_folder.mkpath(QStringLiteral("."));
        m_only = QString::fromLocal8Bit(argc > 2 ? argv[2] : "");
    }

    bool wants(const char *scene) const { return m_only.isEmpty() || m_only == QLatin1String(scene); }
    QString path(const QString &file) const { return m_folder.filePath(file); }

    void take(QWidget &widget, const QString &name, const Theme &theme) { save(widget.grab(), name, theme); }
    void save(const QPixmap &picture, const QString &name, const Theme &theme)
    {
        const QString suffix =
            QStringLiteral("%1-%2x").arg(Theme::kindText(theme.kind())).arg(picture.devicePixelRatioF());
        m_saved = picture.save(path(QStringLiteral("%1-%2.png").arg(name, suffix))) && m_saved;
    }

    /// Calls `take` once with the light and once with the dark theme; returns the exit code.
    int run(const std::function<void(Theme &)> &takeAll)
    {
        if (!m_usable)
            return 2;
        for (const Theme::Kind kind : {Theme::Kind::Light, Theme::Kind::Dark}) {
            Theme theme(kind);
            theme.applyToApplication();
            takeAll(theme);
        }
        return exitCode();
    }

    bool isUsable() const { return m_usable; }
    int exitCode() const { return !m_usable ? 2 : m_saved ? 0 : 1; }

private:
    std::unique_ptr<QApplication> m_application;
    PseudoTranslator m_language;
    QDir m_folder;
    QString m_only;
    bool m_usable = false;
    bool m_saved = true;
};

} // namespace pictures
