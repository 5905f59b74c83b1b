#pragma once

#include "CorpusCase.h"

#include <QList>

namespace brindle {

class Surroundings;

/// Archives that must not be unpacked. Those that reach out do so at the given surroundings, so
/// that they do no harm wherever they are unpacked without checks.
class HostileCorpus
{
public:
    /// @param around need live only as long as the call.
    static QList<CorpusCase> cases(const Surroundings &around);
};

} // namespace brindle
