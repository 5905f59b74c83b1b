#pragma once

#include <QCoroTask>
#include <QString>

namespace brindle {

/// A fresh folder "Brindle-" + upper-case UUID in the temporary folder, one per download.
///
/// The owner must await `remove` on every way out. (A destructor cannot: deleting a folder blocks,
/// and a coroutine's way out may be on the main thread.)
class StagingFolder
{
public:
    /// The part of the name before the UUID.
    static constexpr QLatin1String prefix{"Brindle-"};

    /// Makes the folder with its parents, on a worker thread. Throws SystemError.
    static QCoro::Task<StagingFolder> create(QString temporaryFolder);

    QString path() const { return path_; }
    /// The path of an entry inside.
    QString path(const QString &name) const;

    /// Deletes the folder on a worker thread; failures are ignored.
    QCoro::Task<> remove() const;

private:
    explicit StagingFolder(QString path);
    QString path_;
};

} // namespace brindle
