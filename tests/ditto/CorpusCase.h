#pragma once

#include <QByteArray>

#include <functional>

namespace brindle {

/// One archive of the corpus.
struct CorpusCase
{
    const char *name;
    std::function<QByteArray()> archive; ///< made when asked for, as some are large
    QByteArray why{};     ///< a piece of the refusal's line; hostile ones all have it
    bool escapes = false; ///< without checks and sandbox it changes the surroundings
    bool endless = false; ///< without checks it fills the destination for minutes
};

} // namespace brindle
