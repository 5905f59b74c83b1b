#pragma once

#include "base/Clock.h"
#include "core/Desktop.h"
#include "platform/Platform.h"

#include <QSettings>
#include <QString>
#include <QUrl>

#include <memory>

namespace brindle {

/// Everything that an AppModel needs from outside.
struct Dependencies
{
    QString storageRoot;     ///< absolute; created when something is first written
    QString temporaryFolder; ///< absolute; each download is staged in its own folder below it
    std::unique_ptr<QSettings> settings; ///< keys "fullscreen" and "resolution"
    QUrl codeHost; ///< base address of the code-hosting service, without a trailing slash
    Platform platform;
    std::shared_ptr<Desktop> desktop;
    std::shared_ptr<Clock> clock;
};

} // namespace brindle
