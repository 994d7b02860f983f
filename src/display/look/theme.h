#pragma once

#include <QBrush>
#include <QColor>
#include <QObject>
#include <QPalette>
#include <QPen>

/// Shapes of event markers. The level of a detector class chooses among the first three.
enum class MarkerShape { TriangleDown, Diamond, Square, Circle, Bar, Star, Cross, Pentagon };

/// Every pen, brush and colour of the windows. Nothing else names a colour except the style sheets that are fixed. One
/// object per program, made after the application object and handed to the windows by reference; GUI thread. It follows
/// the system's palette, or a forced one, and says changed() when everything has to be drawn again.
class Theme : public QObject
{
    Q_OBJECT

public:
    enum class Kind { System, Light, Dark };

    explicit Theme(Kind kind = Kind::System, QObject *parent = nullptr);

    Kind kind() const { return m_kind; }
    void setKind(Kind kind);
    bool isDark() const { return m_dark; }
    /// Gives the application its style and this theme's palette, which follows by itself whenever the theme changes.
    void applyToApplication();
    /// A palette for one widget, for pictures that use another theme than the windows.
    QPalette palette() const;

    /// "system", "light", "dark", as the settings keep them; an unknown text is System.
    static Kind kindFromText(const QString &text);
    static QString kindText(Kind kind);

    // --- surfaces
    QColor window() const;
    QColor canvas() const;
    QColor text() const;
    QColor mutedText() const;
    QColor frame() const;
    QColor accent() const;
    QPen gridPen() const;
    QPen minorGridPen() const;

    // --- sensors and curves
    /// The colour that the session file keeps for the sensor at a position: that of the light theme.
    static QColor sensorColour(int index);
    /// How a kept colour looks here: the six standard ones have a counterpart, others are shifted until they contrast.
    QColor themed(const QColor &kept) const;
    /// The same dark enough for white words on it.
    QColor labelColour(const QColor &kept) const;
    /// The line of a sensor's curve. Sensors beyond the sixth share colours and differ by dashes; the curve on the
    /// right axis is a lighter line of the same colour.
    QPen curvePen(const QColor &kept, int sensorIndex, bool rightAxis) const;

    // --- runs, events, gaps
    QBrush runBand(bool odd) const;
    QPen runEdge() const;
    /// Where a step of a recipe begins, and the level of its mean.
    QPen sectionEdge() const;
    QPen sectionLevel() const;
    QColor runText() const;
    QBrush connectionLossBand() const;
    QColor eventColour(int code) const;
    static MarkerShape eventShape(int code);
    /// For what is shown when there is not room for all: the level of a class counts before its family.
    static int severity(int code);
    QPen markerOutline() const;

    // --- tools on the plot
    QPen crosshairPen() const;
    QPen cursorPen(int number) const;
    QBrush cursorBand() const;
    QPen rubberBandPen() const;
    QBrush rubberBandBrush() const;
    QColor boxBackground() const;

    // --- states, always together with a word and an icon
    QColor good() const;
    QColor warning() const;
    QColor bad() const;

    /// WCAG contrast of two colours, 1 to 21.
    static double contrast(const QColor &a, const QColor &b);

signals:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void decide();

    Kind m_kind;
    bool m_dark = false;
    bool m_applied = false;  // the application wears our style and palette
    bool m_applying = false; // the palette change on its way is our own
    QPalette m_systemPalette;
};
