#include "services/StagingFolder.h"

#include "services/Error.h"
#include "services/Files.h"
#include "services/SystemError.h"
#include "services/Worker.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cerrno>

#include <sys/stat.h>

namespace brindle {

StagingFolder::StagingFolder(QString path) : path_(std::move(path)) {}

QCoro::Task<StagingFolder> StagingFolder::create(QString temporaryFolder)
{
    const QString name = prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString path = QDir(temporaryFolder).filePath(name);
    auto make = [temporaryFolder, path] {
        Files::createFolder(temporaryFolder);
        // For the user alone: the temporary folder may be shared, and what is staged here will run.
        if (mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0) {
            throw SystemError::fromErrno(errno, path);
        }
    };
    co_await runOnWorker(std::move(make));
    co_return StagingFolder(path);
}

QString StagingFolder::path(const QString &name) const
{
    return path_ + u'/' + name;
}

QCoro::Task<> StagingFolder::remove() const
{
    auto removeFolder = [path = path_] {
        try {
            Files::remove(path);
        } catch (const Error &) {
            // The system clears its temporary folder in time.
        }
    };
    co_await runOnWorker(std::move(removeFolder));
}

} // namespace brindle
