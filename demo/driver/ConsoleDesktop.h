#pragma once

#include "core/Desktop.h"

namespace brindle {

/// A desktop on a terminal: prints what would be shown and presses the first button.
class ConsoleDesktop final : public Desktop
{
public:
    int runAlert(const Alert &alert) override;
    void reveal(const QString &path) override;
    void copyText(const QString &text) override;
};

} // namespace brindle
