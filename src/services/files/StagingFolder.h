#pragma once

#include "files/Storage.h"

#include <QCoroTask>
#include <QString>

#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

class ProcessLock;

/// A fresh folder "Brindle-" + upper-case UUID in the temporary folder, one per download. Where
/// others could put a folder of theirs in its place (the temporary folder belongs to neither this
/// user nor root, or others may write to it or above it without the sticky bit), it lies beside the
/// storage root instead.
///
/// The owner must await `remove` on every way out; `with` does. (A destructor cannot: deleting a
/// folder blocks, and a coroutine's way out may be on the main thread.) As long as the owner lives,
/// the folder is locked; that tells it from what a killed launcher left behind.
class StagingFolder
{
public:
    /// The part of the name before the UUID.
    static constexpr QLatin1String prefix{"Brindle-"};

    /// Makes the folder with its parents, on a worker thread. Throws SystemError.
    static QCoro::Task<StagingFolder> create(QString temporaryFolder, Storage storage);

    /// Something that is done in a folder, whose path it gets. No coroutine itself, it calls one
    /// that owns all that it needs.
    using Work = std::function<QCoro::Task<QString>(QString folder)>;
    /// Makes a folder, returns what `work` does, and has removed the folder by then, also when that
    /// is an error. Where the temporary folder's disk has no room for it, and that of the storage
    /// is another one, it is all done once more in a folder beside the storage root.
    static QCoro::Task<QString> with(QString temporaryFolder, Storage storage, Work work);

    /// Deletes the staging folders that launchers left which no longer live: real folders of this
    /// user's with such a name and no owner. Everything else stays, as does what can't be deleted.
    /// Blocks; returns early when `stop` is requested.
    static void clearLeftovers(const QString &temporaryFolder, const std::stop_token &stop = {});

    /// The same in both places where such a folder may lie, on a thread of its own, which the end
    /// of the program does not wait for.
    static void startClearingLeftovers(const QString &temporaryFolder, const Storage &storage);

    QString path() const;

    /// Deletes the folder on a worker thread; failures are ignored.
    QCoro::Task<> remove() const;

private:
    explicit StagingFolder(std::shared_ptr<ProcessLock> lock);
    static QCoro::Task<QString> withOne(QString temporaryFolder, Storage storage, Work work,
                                        std::shared_ptr<bool> mayFitElsewhere);

    std::shared_ptr<ProcessLock> lock_;
};

} // namespace brindle
