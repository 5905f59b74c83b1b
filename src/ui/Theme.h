#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// The launcher's look: colours for light and dark, type scale, spacings. Follows the desktop's
/// palette (light or dark) and default font. Main thread only.
class Theme : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(bool dark READ dark NOTIFY changed)

    Q_PROPERTY(QColor window READ window NOTIFY changed)
    Q_PROPERTY(QColor text READ text NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor box READ box NOTIFY changed)
    Q_PROPERTY(QColor pane READ pane NOTIFY changed)
    Q_PROPERTY(QColor hairline READ hairline NOTIFY changed)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor accentDown READ accentDown NOTIFY changed)
    Q_PROPERTY(QColor accentOff READ accentOff NOTIFY changed)
    Q_PROPERTY(QColor accentLine READ accentLine NOTIFY changed)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY changed)
    Q_PROPERTY(QColor onAccentOff READ onAccentOff NOTIFY changed)
    Q_PROPERTY(QColor link READ link NOTIFY changed)
    Q_PROPERTY(QColor selection READ selection NOTIFY changed)
    Q_PROPERTY(QColor errorText READ errorText NOTIFY changed)
    Q_PROPERTY(QColor errorFrame READ errorFrame NOTIFY changed)
    Q_PROPERTY(QColor face READ face NOTIFY changed)
    Q_PROPERTY(QColor faceHover READ faceHover NOTIFY changed)
    Q_PROPERTY(QColor faceDown READ faceDown NOTIFY changed)
    Q_PROPERTY(QColor faceEdge READ faceEdge NOTIFY changed)
    Q_PROPERTY(QColor chosen READ chosen NOTIFY changed)
    Q_PROPERTY(QColor track READ track NOTIFY changed)
    Q_PROPERTY(QColor thumb READ thumb NOTIFY changed)
    Q_PROPERTY(QColor textOff READ textOff NOTIFY changed)
    Q_PROPERTY(QColor gray READ gray NOTIFY changed)
    Q_PROPERTY(QColor orange READ orange NOTIFY changed)
    Q_PROPERTY(QColor red READ red NOTIFY changed)
    Q_PROPERTY(QColor green READ green NOTIFY changed)
    Q_PROPERTY(QList<QColor> banner READ banner CONSTANT)

    Q_PROPERTY(QFont largeTitle READ largeTitle NOTIFY changed)
    Q_PROPERTY(QFont title READ title NOTIFY changed)
    Q_PROPERTY(QFont title2 READ title2 NOTIFY changed)
    Q_PROPERTY(QFont headline READ headline NOTIFY changed)
    Q_PROPERTY(QFont body READ body NOTIFY changed)
    Q_PROPERTY(QFont callout READ callout NOTIFY changed)
    Q_PROPERTY(QFont caption READ caption NOTIFY changed)
    Q_PROPERTY(QFont segment READ segment NOTIFY changed)
    Q_PROPERTY(QFont monospaced READ monospaced NOTIFY changed)
    Q_PROPERTY(qreal scale READ scale NOTIFY changed)

    Q_PROPERTY(int buttonHeight READ buttonHeight NOTIFY changed)
    Q_PROPERTY(int buttonRadius MEMBER buttonRadius CONSTANT)
    Q_PROPERTY(int buttonSpacing MEMBER buttonSpacing CONSTANT)
    Q_PROPERTY(int boxRadius MEMBER boxRadius CONSTANT)
    Q_PROPERTY(int boxPadding MEMBER boxPadding CONSTANT)

public:
    explicit Theme(QObject *parent = nullptr);

    bool dark() const { return dark_; }

    QColor window() const;
    QColor text() const;
    /// Text of less weight.
    QColor secondary() const;
    /// Fill of a box on the window: `secondary`, faint.
    QColor box() const;
    /// Fill behind scrolled text.
    QColor pane() const;
    QColor hairline() const;
    /// The desktop's accent colour, where it names one, as a fill that stands out of the window.
    QColor accent() const { return accent_; }
    QColor accentDown() const;
    QColor accentOff() const;
    /// The accent colour as a line or a bar, on the window, a box or a track.
    QColor accentLine() const { return accentLine_; }
    /// Black or white, whichever is read more easily.
    QColor onAccent() const;
    QColor onAccentOff() const;
    QColor link() const;
    QColor selection() const;
    QColor errorText() const;
    QColor errorFrame() const;
    QColor face() const;
    QColor faceHover() const;
    QColor faceDown() const;
    QColor faceEdge() const;
    /// Face of the chosen segment on its `track`.
    QColor chosen() const;
    QColor track() const;
    QColor thumb() const;
    /// Text of a control that can't be pressed.
    QColor textOff() const;
    QColor gray() const;
    QColor orange() const;
    QColor red() const;
    QColor green() const;
    /// From the top left to the bottom right, evenly; the same in light and dark.
    static QList<QColor> banner();

    /// The type scale, in pixels at the smallest default font: 26, 22 and 17 bold, 13 semibold,
    /// 13, 12, 11 for captions and segments. It grows with the desktop's default font.
    QFont largeTitle() const;
    QFont title() const;
    QFont title2() const;
    QFont headline() const;
    QFont body() const;
    QFont callout() const;
    QFont caption() const;
    QFont segment() const;
    /// 11 pixels beside every ordinary default font, which is one of up to 15 pixels (11 points),
    /// and in proportion beside larger ones.
    QFont monospaced() const;
    /// How much larger than 13 pixels the desktop's default font is; at least 1.
    qreal scale() const { return scale_; }

    int buttonHeight() const;

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void read();
    QColor pick(const char *light, const char *darkColour) const;
    /// The colour, nearer to the text's where it would not stand out of another.
    QColor standingOut(const QColor &colour, const QColor &below, double least) const;
    QFont font(qreal size, QFont::Weight weight) const;

    static constexpr int buttonRadius = 7;
    static constexpr int buttonSpacing = 8;
    static constexpr int boxRadius = 10;
    static constexpr int boxPadding = 12;

    bool dark_ = false;
    QColor accent_;
    QColor accentLine_;
    qreal scale_ = 1;
    int monospacedSize_ = 0;
    QString family_;
    QString monospacedFamily_;
};

} // namespace brindle
