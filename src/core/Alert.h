#pragma once

#include <QString>
#include <QStringList>

namespace brindle {

/// A question or notice for the user. `buttons` in order; the first means yes, the last leaves
/// everything as it is. No buttons means the platform's default single one.
struct Alert
{
    QString message;
    QString informativeText;
    QStringList buttons;

    bool operator==(const Alert &) const = default;
};

} // namespace brindle
