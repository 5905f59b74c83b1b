#pragma once

#include "CorpusCase.h"

#include <QList>

namespace brindle {

/// Archives as the code host and the engine's makers pack them, and odd ones that harm nobody.
class BenignCorpus
{
public:
    static QList<CorpusCase> cases();
};

} // namespace brindle
