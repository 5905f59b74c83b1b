#pragma once

#include "core/Alert.h"

#include <QString>

namespace brindle {

/// What the model asks of the user's desktop. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Shows a modal alert and returns the index of the button pressed. Events go on being served
    /// while it is shown.
    virtual int runAlert(const Alert &alert) = 0;

    /// Shows an existing file or folder, selected, in the file browser. Does not wait.
    virtual void reveal(const QString &path) = 0;

    /// Replaces the pasteboard's content with plain text.
    virtual void copyText(const QString &text) = 0;
};

} // namespace brindle
