#pragma once

#include "ditto/EntryPath.h"
#include "ditto/TreeWriter.h"

#include <map>
#include <string>
#include <unordered_set>

namespace brindle {

/// Writes a tree in which nothing takes the place of anything else and nothing is written through a
/// link. Folders and executable files get mode 0755, other files 0644, less the process's umask.
class StrictTreeWriter : public TreeWriter
{
public:
    explicit StrictTreeWriter(std::string root);

    void addFolder(const ArchiveEntry &entry) override;
    void addFile(const ArchiveEntry &entry, const Source &content) override;
    void addLink(const ArchiveEntry &entry, const std::string &target) override;
    void addOther(const ArchiveEntry &entry) override;
    void finish() override;

private:
    void makeFolders(const EntryPath &path, size_t count);
    std::string placeOf(const std::string &path) const;

    std::string root_;
    std::unordered_set<std::string> folders_;
    std::map<std::string, std::string> links_; // paths and targets
};

} // namespace brindle
