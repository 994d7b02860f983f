#include "display/look/theme.h"

#include "base/inks.h"
#include "data/eventtypelist.h"
#include "display/look/colours.h"
#include "display/look/themedstyle.h"

#include <QApplication>
#include <QEvent>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int paletteSize = 6;
constexpr std::array<QRgb, paletteSize> lightCurves{0xff2255ee, 0xff994455, 0xff779922,
                                                    0xff440000, 0xff001133, 0xff998899};
constexpr std::array<QRgb, paletteSize> darkCurves{0xff9966ff, 0xff557722, 0xffffffcc,
                                                   0xff00ffff, 0xffee88aa, 0xff99bb11};

// By event code: three families of three levels, then "no event", pulse event, snapshot, run.
constexpr std::array<QRgb, eventtype::builtInCount> lightEvents{
    0xff4a90d9, 0xff1f6bb8, 0xff0b4178, 0xffc9761a, 0xffa65a00, 0xff6e3b00, 0xffd0509a,
    0xffb0207a, 0xff6f0a4b, 0xff7a7f87, 0xff00857a, 0xff6a4fc4, 0xff4c7a34};
constexpr std::array<QRgb, eventtype::builtInCount> darkEvents{
    0xff9cccff, 0xff5aa8f5, 0xff2f83dc, 0xffffd199, 0xffffa940, 0xffe07b00, 0xffffb3dc,
    0xffff6dbb, 0xffe0309a, 0xff9aa0a8, 0xff3fd0c0, 0xffb8a4ff, 0xff9ccf7c};

double luminance(const QColor &colour)
{
    const auto part = [](double c) { return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    return 0.2126 * part(colour.redF()) + 0.7152 * part(colour.greenF()) + 0.0722 * part(colour.blueF());
}

QColor withAlpha(QColor colour, int alpha)
{
    colour.setAlpha(alpha);
    return colour;
}

QPen hairline(const QColor &colour, Qt::PenStyle style = Qt::SolidLine)
{
    return QPen(QBrush(colour), 0, style);
}

} // namespace

// The pictures lie in a library, where nothing else would make the linker take them along.
static void takePicturesAlong()
{
    Q_INIT_RESOURCE(images);
}

Theme::Theme(Kind kind, QObject *parent) : QObject(parent), m_kind(kind)
{
    takePicturesAlong();
    m_systemPalette = QApplication::palette();
    decide();
    if (qApp)
        qApp->installEventFilter(this);
}

void Theme::setKind(Kind kind)
{
    if (kind == m_kind)
        return;
    m_kind = kind;
    decide();
    if (m_applied)
        applyToApplication();
    emit changed();
}

void Theme::decide()
{
    m_dark = m_kind == Kind::Dark || (m_kind == Kind::System && ::isDark(m_systemPalette));
}

void Theme::applyToApplication()
{
    m_applying = true;
    if (!m_applied)
        QApplication::setStyle(new ThemedStyle);
    m_applied = true;
    QApplication::setPalette(palette());
    m_applying = false;
}

bool Theme::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && !m_applying &&
        QApplication::palette() != palette()) {
        m_systemPalette = QApplication::palette();
        const bool wasDark = m_dark;
        decide();
        if (m_applied)
            applyToApplication();
        if (m_dark != wasDark)
            emit changed();
    }
    return QObject::eventFilter(watched, event);
}

Theme::Kind Theme::kindFromText(const QString &text)
{
    if (text == QLatin1String("light"))
        return Kind::Light;
    return text == QLatin1String("dark") ? Kind::Dark : Kind::System;
}

QString Theme::kindText(Kind kind)
{
    switch (kind) {
    case Kind::Light:
        return QStringLiteral("light");
    case Kind::Dark:
        return QStringLiteral("dark");
    case Kind::System:
        break;
    }
    return QStringLiteral("system");
}

QPalette Theme::palette() const
{
    QPalette result(window());
    const QColor base = canvas();
    const QColor highlight = m_dark ? QColor(0x2f6fd0) : QColor(0x2a62c9);
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const QColor ink = group == QPalette::Disabled ? mixed(text(), window(), 0.55) : text();
        result.setColor(group, QPalette::Window, window());
        result.setColor(group, QPalette::WindowText, ink);
        result.setColor(group, QPalette::Base, base);
        result.setColor(group, QPalette::AlternateBase, mixed(base, text(), 0.05));
        result.setColor(group, QPalette::Text, ink);
        result.setColor(group, QPalette::Button, m_dark ? QColor(0x363a41) : QColor(0xe9ebee));
        result.setColor(group, QPalette::ButtonText, ink);
        result.setColor(group, QPalette::PlaceholderText, mutedText());
        result.setColor(group, QPalette::ToolTipBase, boxBackground());
        result.setColor(group, QPalette::ToolTipText, text());
        result.setColor(group, QPalette::Highlight, group == QPalette::Disabled ? frame() : highlight);
        result.setColor(group, QPalette::HighlightedText, Qt::white);
        result.setColor(group, QPalette::Link, accent());
        result.setColor(group, QPalette::LinkVisited, mixed(accent(), text(), 0.3));
    }
    return result;
}

QColor Theme::window() const
{
    return m_dark ? QColor(0x26292e) : QColor(0xf4f5f7);
}
QColor Theme::canvas() const
{
    return m_dark ? QColor(0x17191d) : QColor(0xffffff);
}
QColor Theme::text() const
{
    return m_dark ? QColor(0xe6e8eb) : QColor(0x1c1f24);
}
QColor Theme::mutedText() const
{
    return m_dark ? QColor(0xa2a8b1) : QColor(0x5b636e);
}
QColor Theme::frame() const
{
    return m_dark ? QColor(0x565c66) : QColor(0xb4bac3);
}
QColor Theme::accent() const
{
    return inks::accent(m_dark);
}
QPen Theme::gridPen() const
{
    return hairline(m_dark ? QColor(0x33373e) : QColor(0xe1e4e9));
}
QPen Theme::minorGridPen() const
{
    return hairline(m_dark ? QColor(0x22252a) : QColor(0xf1f3f5));
}

QColor Theme::sensorColour(int index)
{
    return QColor(lightCurves[std::size_t(std::max(index, 0) % paletteSize)]);
}

QColor Theme::themed(const QColor &kept) const
{
    if (!m_dark)
        return kept;
    const auto standard = std::find(lightCurves.begin(), lightCurves.end(), kept.rgb());
    if (standard != lightCurves.end())
        return QColor(darkCurves[std::size_t(standard - lightCurves.begin())]);
    QColor shifted = kept;
    for (int i = 0; i < 20 && contrast(shifted, canvas()) < 3.2; ++i)
        shifted = mixed(shifted, Qt::white, 0.12);
    return shifted;
}

QColor Theme::labelColour(const QColor &kept) const
{
    constexpr double readable = 3.2;
    QColor colour = themed(kept);
    while (contrast(colour, Qt::white) < readable)
        colour = colour.darker(112);
    return colour;
}

QPen Theme::curvePen(const QColor &kept, int sensorIndex, bool rightAxis) const
{
    static const std::array<QVector<qreal>, 3> dashes{QVector<qreal>{7, 3}, QVector<qreal>{2, 2},
                                                      QVector<qreal>{8, 2, 2, 2}};
    QColor colour = themed(kept);
    if (rightAxis)
        colour = mixed(colour, luminance(colour) < 0.12 || m_dark ? QColor(Qt::white) : QColor(Qt::black), 0.45);
    QPen pen(colour, rightAxis ? 1.0 : 1.4);
    pen.setCosmetic(true);
    pen.setJoinStyle(Qt::BevelJoin);
    pen.setCapStyle(Qt::FlatCap);
    if (sensorIndex >= paletteSize)
        pen.setDashPattern(dashes[std::size_t(sensorIndex / paletteSize - 1) % dashes.size()]);
    return pen;
}

QBrush Theme::runBand(bool odd) const
{
    const int alpha = m_dark ? (odd ? 36 : 22) : (odd ? 40 : 22);
    return QBrush(m_dark ? QColor(120, 180, 90, alpha) : QColor(96, 150, 60, alpha));
}

QPen Theme::sectionEdge() const
{
    return QPen(mutedText(), 1, Qt::DashLine);
}

QPen Theme::sectionLevel() const
{
    return QPen(text(), 1.5);
}

QPen Theme::runEdge() const
{
    return hairline(withAlpha(eventColour(eventtype::RfOn), 130));
}
QColor Theme::runText() const
{
    return m_dark ? QColor(0xb5dc9c) : QColor(0x3a6325);
}

QBrush Theme::connectionLossBand() const
{
    return QBrush(withAlpha(bad(), m_dark ? 120 : 80), Qt::BDiagPattern);
}

QColor Theme::eventColour(int code) const
{
    const int known = code >= 0 && code < eventtype::builtInCount ? code : int(eventtype::NotAnEvent);
    return QColor((m_dark ? darkEvents : lightEvents)[std::size_t(known)]);
}

MarkerShape Theme::eventShape(int code)
{
    switch (code) {
    case eventtype::NotAnEvent:
        return MarkerShape::Cross;
    case eventtype::PulseEvent:
        return MarkerShape::Circle;
    case eventtype::Snapshot:
        return MarkerShape::Star;
    case eventtype::RfOn:
        return MarkerShape::Bar;
    default:
        break;
    }
    constexpr std::array<MarkerShape, 3> levels{MarkerShape::TriangleDown, MarkerShape::Diamond, MarkerShape::Square};
    return code >= 0 && code < eventtype::NotAnEvent ? levels[std::size_t(code % 3)] : MarkerShape::Pentagon;
}

int Theme::severity(int code)
{
    if (code >= 0 && code < eventtype::NotAnEvent)
        return 100 + code % 3 * 10 + code / 3;
    return code == eventtype::NotAnEvent ? 0 : 50 + code;
}

QPen Theme::markerOutline() const
{
    return hairline(canvas());
}
QPen Theme::crosshairPen() const
{
    return hairline(mutedText(), Qt::DashLine);
}

QPen Theme::cursorPen(int number) const
{
    const QColor first = m_dark ? QColor(0xffc14d) : QColor(0xb35c00);
    const QColor second = m_dark ? QColor(0x5fd3f3) : QColor(0x006d8f);
    QPen pen(number == 0 ? first : second, 1.5);
    pen.setCosmetic(true);
    return pen;
}

QBrush Theme::cursorBand() const
{
    return QBrush(withAlpha(accent(), m_dark ? 26 : 18));
}
QPen Theme::rubberBandPen() const
{
    return hairline(accent());
}
QBrush Theme::rubberBandBrush() const
{
    return QBrush(withAlpha(accent(), 36));
}
QColor Theme::boxBackground() const
{
    return m_dark ? QColor(0x2e3238) : QColor(0xfbfcfd);
}
QColor Theme::good() const
{
    return inks::good(m_dark);
}
QColor Theme::warning() const
{
    return inks::warning(m_dark);
}
QColor Theme::bad() const
{
    return inks::bad(m_dark);
}

double Theme::contrast(const QColor &a, const QColor &b)
{
    const double la = luminance(a);
    const double lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}
