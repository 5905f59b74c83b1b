// ".gitmodules": the add-ons' addresses and folders.

#include "Expect.h"
#include "Fuzzer.h"
#include "ProjectFolder.h"
#include "project/CodeHost.h"
#include "project/ProjectInspector.h"
#include "project/RepoDownloader.h"

using namespace brindle;
using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ProjectFolder folder(".gitmodules");
    static const QUrl host(u"https://github.com"_s);
    folder.put(data, size);
    const ProjectInfo info = ProjectInspector::inspect(folder.path());
    expect(ProjectInfo::fromJson(info.toJson()) == info, "a description survives being saved");
    expect(info.toJson().size() < 1024 * 1024, "a description is small");
    for (const Submodule &submodule : info.submodules) {
        const auto place = RepoDownloader::addonFolder(info.repoRoot, submodule.path);
        if (place) {
            const QString rest = place->mid(info.repoRoot.size());
            expect(place->startsWith(info.repoRoot) && (rest.isEmpty() || rest.startsWith(u'/')),
                   "an add-on lies in the repository");
            expect(!(rest + u'/').contains(u"/../"), "an add-on's folder climbs nowhere");
        }
        const auto archive = CodeHost::repositoryArchive(host, submodule.url);
        expect(!archive || archive->host() == host.host(), "add-ons come from the code host");
    }
    return 0;
}
