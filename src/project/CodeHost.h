#pragma once

#include "files/Storage.h"
#include "platform/Platform.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace brindle {

/// The code host, folders and platform of all downloads.
struct DownloadParts
{
    QUrl codeHost; ///< base address of the code-hosting service, without a trailing slash
    Storage storage;
    QString temporaryFolder; ///< absolute; each download is staged in its own folder below it
    Platform platform;
};

/// Makes addresses on the code-hosting service. Any thread may call these functions.
namespace CodeHost {

/// Returns the address of `path`, which begins with a slash, on the host of `base`. Returns nothing
/// when `base` is not a valid address with a host.
std::optional<QUrl> address(const QUrl &base, const QString &path);

/// Returns the address of the default branch's archive of `repository`, an address from
/// ".gitmodules". Returns nothing unless `repository` is a valid http or https address on exactly
/// the host of `base`, in the same letters. Ignores port and user.
std::optional<QUrl> repositoryArchive(const QUrl &base, const QString &repository);

} // namespace CodeHost

} // namespace brindle
