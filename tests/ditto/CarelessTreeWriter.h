#pragma once

#include "ditto/TreeWriter.h"

#include <string>

namespace brindle {

/// Makes what each entry asks for under the name it gives, follows links, replaces what is there,
/// gives every mode as stored, makes room for what is announced, and goes on after what fails. Then
/// it does what a program that has been taken over would do: it runs each file that may be run, and
/// connects to each port of this machine that a file "connect to <port>" names.
class CarelessTreeWriter : public TreeWriter
{
public:
    explicit CarelessTreeWriter(std::string root);

    void addFolder(const ArchiveEntry &entry) override;
    void addFile(const ArchiveEntry &entry, const Source &content) override;
    void addLink(const ArchiveEntry &entry, const std::string &target) override;
    void addOther(const ArchiveEntry &entry) override;
    void finish() override;

private:
    /// An absolute name is taken as it is.
    std::string placeOf(const ArchiveEntry &entry) const;
    static void run(const std::string &place);
    static void connectTo(int port);

    std::string root_;
};

} // namespace brindle
