#pragma once

#include <QCoreApplication>
#include <QString>

namespace brindle {

/// Path of the program `testchild`, which lies beside the tests. What it can do stands at the top
/// of TestChild.cpp.
inline QString testChild()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/testchild");
}

} // namespace brindle
