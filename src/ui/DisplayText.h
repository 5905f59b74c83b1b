#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Cleans downloaded texts for display. Any thread.
class DisplayText : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// Returns at most `longest` characters of `text`, then "…" if it is longer. Removes control
    /// characters. Keeps only a few marks per letter, because stacked marks cover other lines.
    Q_INVOKABLE static QString of(const QString &text, int longest = 500);
    /// Returns the title of an AppState::Phase.
    Q_INVOKABLE static QString phaseTitle(int phase);
};

} // namespace brindle
