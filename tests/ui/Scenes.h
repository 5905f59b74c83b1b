#pragma once

#include "ViewFixture.h"

#include <QList>

namespace brindle {

/// A view of the launcher in one state.
struct Scene
{
    const char *name = "";
    const char *phase = "NotDownloaded";
    QVariantMap properties = {};
    QString sheet = {}; ///< "settings", "about", "log" or "alert"; empty for the main window
    int logLines = 0;
    int tabs = 0; ///< number of presses of Tab

    /// Shows the scene in the smallest window, or in the window's own size. Then calls `look`.
    void show(QQmlEngine &engine, bool smallest,
              const std::function<void(ViewFixture &)> &look) const;
};

/// Every view in each of its states.
QList<Scene> scenes();

} // namespace brindle
