#pragma once

#include "Rounds.h"

namespace brindle {

/// Kills the launcher at random times.
class Torture : public Rounds
{
public:
    /// @param secondTemporary a temporary folder on another file system, empty if there is none.
    Torture(const QString &folder, const QString &secondTemporary, const QString &programs,
            quint64 seed);

    QString summary() const override;

private:
    QString measure() override;
    QStringList round(int number) override;
    void kill(const QString &action);

    const QStringList temporaries_;
    bool hasNewerAddons_ = false; // the game on disk may
    bool isSetUp_ = false;        // the last run left everything in its place
};

} // namespace brindle
