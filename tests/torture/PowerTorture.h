#pragma once

#include "PowerDisk.h"
#include "Rounds.h"

namespace brindle {

/// Cuts the power while the launcher works or soon after. With the power back, whatever the
/// launcher takes for whole must be whole.
class PowerTorture : public Rounds
{
public:
    PowerTorture(const QString &folder, const QString &programs, quint64 seed);

    QString summary() const override;

    /// The disk as it was at the last cut.
    QString imageOfCut() const { return disk_.imageOfCut(); }

private:
    QString measure() override;
    QStringList round(int number) override;
    void cut(const QString &action);
    QStringList problemsOfState(const Inspection::Expected &expected);

    PowerDisk disk_;
    int ready_ = 0; // rounds after which the launcher was ready at once
};

} // namespace brindle
