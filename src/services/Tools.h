#pragma once

#include <QCoroTask>
#include <QString>

#include <stop_token>

namespace brindle {

/// Steps that an outside program does.
class Tools
{
public:
    /// Unpacks a zip archive into a folder, which is created with its parents. `archiveTool` is
    /// the absolute path of a program with ditto's command line (`-x -k archive destination`).
    /// Keeps execute bits and symbolic links. Throws SystemError (folder, launch; and when the tool
    /// says that there is no room, or that it may not write there), SetupError with the tool's exit
    /// status, or CancellationError after `stop` ended the tool.
    static QCoro::Task<> unzip(QString archiveTool, QString zip, QString destination,
                               std::stop_token stop);
};

} // namespace brindle
