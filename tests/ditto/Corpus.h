#pragma once

#include "RawZip.h"

#include <QByteArray>
#include <QList>

#include <functional>

namespace brindle {

class Surroundings;

struct CorpusCase
{
    const char *name;
    std::function<QByteArray()> archive; ///< makes the archive on demand, as some are large
    QByteArray why{};                    ///< part of the refusal's text, in every hostile case
    bool escapes = false;                ///< without checks and sandbox, changes the surroundings
};

namespace Corpus {

/// Returns archives like those of the code host and the engine's makers, and odd but harmless ones.
QList<CorpusCase> benign();

/// Returns archives that must not be unpacked. Some aim at files of `around`.
QList<CorpusCase> hostile(const Surroundings &around);

/// Returns hostile archives with false sizes, offsets, checksums or ends.
QList<CorpusCase> damaged();

/// Returns hostile archives that would take too much room or time.
QList<CorpusCase> costly();

} // namespace Corpus

} // namespace brindle
