#include "platform/Platform.h"

#include <QDir>
#include <QStandardPaths>
#include <QStringView>
#include <QSysInfo>

#include <array>
#include <utility>

namespace brindle {

QStringList Platform::Command::filled(const QString &path, const QString &folder) const
{
    const std::array<std::pair<QStringView, QString>, 2> values{{
        {u"{path}", path},
        {u"{folder}", folder},
    }};
    QStringList result;
    for (const QString &argument : arguments) {
        QString text;
        QStringView rest(argument);
        while (!rest.isEmpty()) {
            qsizetype taken = 0;
            for (const auto &[placeholder, value] : values) {
                if (rest.startsWith(placeholder)) {
                    text += value;
                    taken = placeholder.size();
                    break;
                }
            }
            if (taken == 0) {
                text += rest.front();
                taken = 1;
            }
            rest = rest.sliced(taken);
        }
        result.append(text);
    }
    return result;
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
    row.dataFolder = home + QStringLiteral("/Library/Application Support");
    row.archiveTool = QStringLiteral("/usr/bin/ditto");
    row.quarantineStep = {QStringLiteral("/usr/bin/xattr"),
                          {QStringLiteral("-dr"), QStringLiteral("com.apple.quarantine"),
                           QStringLiteral("{folder}")}};
    row.reveal = {
        {QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), QStringLiteral("{path}")}}};
    return row;
}

Platform Platform::linuxDesktop(const QString &dataFolder, const QString &architecture,
                                const QString &privatePrograms)
{
    Platform row;
    row.system = System::linuxDesktop;
    row.architecture = architecture;
    row.dataFolder = dataFolder;
    row.archiveTool = privatePrograms + QStringLiteral("/ditto");
    row.fileManager = QStringLiteral("org.freedesktop.FileManager1");
    row.reveal = {{QStringLiteral("xdg-open"), {QStringLiteral("{folder}")}}};
    return row;
}

} // namespace brindle
