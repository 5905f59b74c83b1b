#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace brindle {

/// A release's list of SHA-512 digests, as the usual tools write it.
class ChecksumList
{
public:
    /// The digest that `list` gives for an archive, in lower case and not looked at further; the
    /// last entry counts. Both forms of the usual tools are read: digest, two blanks, name, and
    /// digest, blank, asterisk, name. Goes through the list without taking it apart: it is hostile
    /// until proven otherwise, and this is done on the main thread. Any thread; never fails.
    static std::optional<QString> digest(const QByteArray &list, const QString &zipName);
};

} // namespace brindle
