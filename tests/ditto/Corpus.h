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
    std::function<QByteArray()> archive; ///< made on demand, as some are large
    QByteArray why{};     ///< a piece of the refusal's line; every hostile case has one
    bool escapes = false; ///< without checks and sandbox it changes the surroundings
};

namespace Corpus {

/// Returns archives as the code host and the engine's makers pack them, and odd but harmless ones.
QList<CorpusCase> benign();

/// Returns archives that must not be unpacked. Some aim at `around`, which must live only during
/// the call.
QList<CorpusCase> hostile(const Surroundings &around);

/// Returns the hostile archives that lie about themselves: sizes, offsets, checksums, ends.
QList<CorpusCase> damaged();

/// Returns archives that must not be unpacked, since that would cost too much room or time.
QList<CorpusCase> costly();

} // namespace Corpus

} // namespace brindle
