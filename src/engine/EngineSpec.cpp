#include "engine/EngineSpec.h"

#include <QRegularExpression>

namespace brindle {

bool EngineSpec::isWellFormed() const
{
    // \A and \z, because $ would let a line feed at the end through.
    static const QRegularExpression form(QStringLiteral(R"(\A[0-9]+\.[0-9]+(\.[0-9]+)?-stable\z)"));
    return form.match(version).hasMatch();
}

QString EngineSpec::tag() const
{
    return mono ? version + QStringLiteral("-mono") : version;
}

QString EngineSpec::zipName(const Platform &platform) const
{
    return QStringLiteral("Godot_v") + version +
           (mono ? platform.monoArchiveSuffix : platform.standardArchiveSuffix);
}

QString EngineSpec::folder(const QString &storageRoot) const
{
    return storageRoot + QStringLiteral("/Engine/") + tag();
}

} // namespace brindle
