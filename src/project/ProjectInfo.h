#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace brindle {

/// One git submodule as ".gitmodules" lists it.
struct Submodule
{
    QString path; ///< the add-on's folder, relative to the repository folder, as written
    QString url;  ///< its repository's address, as written

    bool operator==(const Submodule &) const = default;
};

/// Describes the game project. The window shows the defaults until a project has been inspected.
struct ProjectInfo
{
    QString name = QStringLiteral("Brindle");
    qint64 configVersion = 5; ///< the project file's format version ("config_version")
    QStringList features;     ///< the project's feature tags, in file order
    std::optional<QString> godotVersion = QStringLiteral("4.3"); ///< "4.3" or "4.2.2"
    bool usesCSharp = false;
    QString mainScene;
    QString licenseName = QStringLiteral("MIT License");
    QString copyright = QStringLiteral("Copyright (c) 2023 Tessel Works");
    QString tagline = QStringLiteral("Open source real-time strategy game made with Godot 4.");
    QStringList controls;        ///< up to eight control hints from the README
    QList<Submodule> submodules; ///< in file order
    QStringList addons;          ///< names in the "addons" folder, sorted
    QString repoRoot;            ///< absolute path of the repository folder

    bool operator==(const ProjectInfo &) const = default;

    /// Holds the defaults above.
    static const ProjectInfo placeholder;

    /// Returns the saved form, a JSON object whose keys are the field names.
    QByteArray toJson() const;
    /// Reads the saved form. Returns nothing when a key other than "godotVersion" is missing, or
    /// when one is mistyped. Ignores unknown keys.
    static std::optional<ProjectInfo> fromJson(const QByteArray &json);
};

} // namespace brindle
