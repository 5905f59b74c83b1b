#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Makes texts from downloads fit to be shown. Stateless; any thread.
class DisplayText : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// The text's first `longest` characters, and "…" where there was more; without what
    /// `Text::withoutControls` takes away, as it is copied. Towers of accents, which would cover
    /// what lies above and below, end after a few.
    Q_INVOKABLE static QString of(const QString &text, int longest = 500);
    /// The same for each line of a text, all of which are kept.
    Q_INVOKABLE static QString lines(const QString &text, int longest);
    /// Returns the title of an AppState::Phase.
    Q_INVOKABLE static QString phaseTitle(int phase);
};

} // namespace brindle
