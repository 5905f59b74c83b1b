#pragma once

#include <QCoreApplication>
#include <QString>

namespace brindle {

/// Returns the path of the program `testchild` beside the tests. TestChild.cpp lists its steps.
inline QString testChild()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/testchild");
}

} // namespace brindle
