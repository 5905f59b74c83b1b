#pragma once

#include "base/Clock.h"
#include "core/Desktop.h"
#include "platform/Platform.h"

#include <QSettings>
#include <QString>
#include <QUrl>

#include <memory>

namespace brindle {

/// All that an AppModel needs from outside. Production's comes from the program's entry, tests
/// and the demo bring their own.
struct Dependencies
{
    QString storageRoot;     ///< absolute; created when something is first written
    QString temporaryFolder; ///< absolute; downloads are staged in folders of their own below it
    std::unique_ptr<QSettings> settings; ///< keys "fullscreen" and "resolution"
    QUrl codeHost; ///< base address of the code-hosting service, without a trailing slash
    Platform platform;
    std::shared_ptr<Desktop> desktop;
    std::shared_ptr<Clock> clock;
};

} // namespace brindle
