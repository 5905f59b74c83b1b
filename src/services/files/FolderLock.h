#pragma once

#include <QString>

namespace brindle {

/// A claim on a folder: one process at a time holds it, and the system lets go of it when its
/// holder ends, however that happens. Unlike a noted process number it can't be taken for somebody
/// else's. Nothing is written; programs that the holder starts do not inherit it. Any one thread.
class FolderLock
{
public:
    enum class Outcome {
        held,       ///< this object has it now
        taken,      ///< another has it, or the folder is no longer the one at the path
        unsupported ///< the file system has no such locks
    };

    /// @param folder absolute path.
    explicit FolderLock(QString folder);
    /// Lets go.
    ~FolderLock();
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

    /// Does not wait. A link is not followed. Throws SystemError when there is no folder, or none
    /// that may be read.
    Outcome tryLock();

    /// Whether the folder that `tryLock` found belongs to this process's user.
    bool isOwn() const { return isOwn_; }

private:
    QString folder_;
    int descriptor_ = -1;
    bool isOwn_ = false;
};

} // namespace brindle
