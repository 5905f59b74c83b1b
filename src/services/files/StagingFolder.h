#pragma once

#include "files/Storage.h"

#include <QCoroTask>
#include <QString>

#include <memory>

namespace brindle {

class ProcessLock;

/// A fresh folder "Brindle-" + upper-case UUID in the temporary folder, one per download. A folder
/// in use is locked; a killed launcher's folder is not.
///
/// The folder lies beside the storage root instead if the temporary folder's disk has less than
/// 1 GB left and the storage's disk has more, or if other users could replace the folder: if the
/// temporary folder or a folder above it belongs to another user, or others may write to one of
/// them that has no sticky bit.
namespace StagingFolder {

/// The part of the name before the UUID.
inline constexpr QLatin1String prefix{"Brindle-"};

/// Creates a folder with its parents, for this user alone. Returns its lock, which has its path.
/// Throws SystemError. Blocks.
std::shared_ptr<ProcessLock> make(const QString &temporaryFolder, const Storage &storage);

/// Calls `make` on a worker thread. A worker deletes the folder when the result is destroyed.
QCoro::Task<std::shared_ptr<ProcessLock>> create(QString temporaryFolder, Storage storage);

/// Deletes the staging folders of this user that no process has locked: in the temporary folder,
/// unless other users could have put them there, and beside the storage root. Deletes also the
/// leftovers of interrupted calls beside the root. Ignores failures. Blocks.
void clearLeftovers(const QString &temporaryFolder, const Storage &storage);

} // namespace StagingFolder

} // namespace brindle
