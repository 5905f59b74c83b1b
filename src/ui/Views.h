#pragma once

#include <QUrl>

namespace brindle {

/// The views as the program finds them. Stateless.
class Views
{
public:
    /// Makes the views and what they are made of known to every QML engine; call once, after the
    /// application has been made and before its first engine.
    static void prepare();

    /// A Window; its required property "model" is an AppModel.
    static QUrl mainWindow();
    /// A Window; see AlertWindow.qml.
    static QUrl alertWindow();
};

} // namespace brindle
