#include "platform/Platform.h"

#include <QDir>
#include <QStandardPaths>
#include <QSysInfo>

namespace brindle {

using namespace Qt::StringLiterals;

QStringList Platform::Command::filled(const QString &path) const
{
    return QStringList(arguments).replaceInStrings(u"{path}"_s, path);
}

Platform Platform::current(const QString &privatePrograms)
{
    if (QSysInfo::kernelType() == u"darwin") {
        return macOS(QDir::homePath());
    }
    return linuxDesktop(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation),
                        QSysInfo::currentCpuArchitecture(), privatePrograms);
}

Platform Platform::macOS(const QString &home)
{
    Platform row;
    row.system = System::macOS;
    row.dataFolder = home + u"/Library/Application Support"_s;
    row.archiveTool = u"/usr/bin/ditto"_s;
    row.quarantineStep = {u"/usr/bin/xattr"_s, {u"-dr"_s, u"com.apple.quarantine"_s, u"{path}"_s}};
    row.reveal = {u"/usr/bin/open"_s, {u"-R"_s, u"{path}"_s}};
    return row;
}

Platform Platform::linuxDesktop(const QString &dataFolder, const QString &architecture,
                                const QString &privatePrograms)
{
    Platform row;
    row.architecture = architecture;
    row.dataFolder = dataFolder;
    row.archiveTool = privatePrograms + u"/ditto"_s;
    row.reveal = {u"xdg-open"_s, {u"{path}"_s}};
    return row;
}

} // namespace brindle
