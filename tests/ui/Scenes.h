#pragma once

#include "core/Dependencies.h"

#include <QList>
#include <QString>
#include <QVariantMap>

namespace brindle {

/// What the launcher can look like.
struct Scene
{
    const char *name;
    QVariantMap properties;
    QString sheet; ///< "settings", "about", "log" or "alert"; empty for the main window
    int logLines = 0;
    int tabs = 0; ///< how often Tab is pressed before
};

/// Every view in each of its states.
QList<Scene> scenes();

/// The alert of the scenes.
Alert question();

} // namespace brindle
