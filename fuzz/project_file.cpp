// "project.godot": the saved description and the engine's names.

#include "Expect.h"
#include "Fuzzer.h"
#include "ProjectFolder.h"
#include "base/Error.h"
#include "engine/EngineManager.h"
#include "project/ProjectInspector.h"

using namespace brindle;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ProjectFolder folder("project.godot");
    static const Platform platform = Platform::current(folder.path());
    folder.put(data, size);
    const ProjectInfo info = ProjectInspector::inspect(folder.path());
    expect(ProjectInfo::fromJson(info.toJson()) == info, "a description survives being saved");
    for (const QString &feature : info.features) {
        expect(!feature.contains(u'"'), "a feature stands between quotes");
    }
    try {
        const EngineSpec spec = EngineManager::spec(info);
        expect(spec.isWellFormed(), "a project's engine has a well-formed version");
        expect(!spec.zipName(platform).contains(u'/'), "an archive's name is no path");
        expect(!spec.tag().contains(u".."), "an engine's folder leads nowhere else");
    } catch (const SetupError &error) {
        expect(!error.message.isEmpty(), "an error says something");
    }
    return 0;
}
