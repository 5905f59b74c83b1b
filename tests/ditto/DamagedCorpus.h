#pragma once

#include "CorpusCase.h"

#include <QList>

namespace brindle {

/// The part of the hostile corpus that lies about the archive itself: sizes, places, checksums,
/// limits, frames.
class DamagedCorpus
{
public:
    static QList<CorpusCase> cases();
};

} // namespace brindle
