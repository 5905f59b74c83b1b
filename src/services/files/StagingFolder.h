#pragma once

#include "files/Storage.h"

#include <QCoroTask>
#include <QString>

#include <memory>

namespace brindle {

class ProcessLock;

/// Each download gets a fresh folder in the temporary folder, named "Brindle-" and an upper-case
/// UUID. A folder in use is locked; a killed launcher's folder is not.
///
/// The folder lies beside the storage root instead in two cases. The temporary folder's disk has
/// less than 1 GB left and the storage's disk has more. Or other users could replace the folder,
/// because they own the temporary folder or a folder above it, or may write to one without a sticky
/// bit.
namespace StagingFolder {

/// The part of the name before the UUID.
inline constexpr QLatin1String prefix{"Brindle-"};

/// Creates a folder with its parents, for this user alone. Returns the lock, which knows the path.
/// Throws SystemError. Blocks.
std::shared_ptr<ProcessLock> make(const QString &temporaryFolder, const Storage &storage);

/// Calls `make` on a worker thread. A worker deletes the folder when the result is destroyed.
QCoro::Task<std::shared_ptr<ProcessLock>> create(QString temporaryFolder, Storage storage);

/// Deletes this user's unlocked staging folders beside the storage root and in the temporary
/// folder, but not in one where other users could have put them. Deletes also the leftovers of
/// interrupted calls beside the root. Ignores failures. Blocks.
void clearLeftovers(const QString &temporaryFolder, const Storage &storage);

} // namespace StagingFolder

} // namespace brindle
