#include "ui/AppDelegate.h"

#include "core/AppModel.h"

namespace brindle {

// Not static: an application has one delegate, which is asked.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate()
{
    return AppModel::shared().confirmQuit() ? TerminateReply::now : TerminateReply::cancel;
}

bool AppDelegate::applicationShouldTerminateAfterLastWindowClosed()
{
    return true;
}

// NOLINTEND(readability-convert-member-functions-to-static)

} // namespace brindle
