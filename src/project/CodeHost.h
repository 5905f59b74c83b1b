#pragma once

#include <QString>
#include <QUrl>

#include <optional>

/// Addresses on the code-hosting service. All functions: any thread, never fail otherwise than by
/// an absent result.
namespace brindle::CodeHost {

/// `base` (scheme, host and perhaps a port) followed by `path`, which begins with a slash; absent
/// when that is not a valid address with a host.
std::optional<QUrl> address(const QUrl &base, const QString &path);

/// The archive of the default branch of the repository at `repository`, an address as a
/// ".gitmodules" file writes it. Absent when that is not a valid address on exactly the host of
/// `base`, compared letter by letter, by http or https; port and user are not looked at.
std::optional<QUrl> repositoryArchive(const QUrl &base, const QString &repository);

} // namespace brindle::CodeHost
