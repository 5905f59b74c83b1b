#pragma once

#include <QByteArray>

#include <stop_token>

namespace brindle::TreeRemoval {

/// Deletes a folder with all that is in it, however deep: two open descriptors at any time, no
/// recursion, no path longer than the folder's own. Links are deleted, never followed; folders
/// without permission bits are given them. Goes on after a failure. Blocks: worker threads only.
/// @param folder path of a folder (not a link) in the file system's encoding. Returns 0 when
/// nothing is left, otherwise the errno of the first failure. Ends early, with something left, when
/// `stop` is requested.
int remove(const QByteArray &folder, const std::stop_token &stop);

} // namespace brindle::TreeRemoval
