#pragma once

#include <QString>
#include <QStringList>

/// A project's folder, as far as this engine looks into it.
struct Project
{
    QString folder;
    bool exists = false; ///< it has a "project.godot"
    QString name;        ///< "config/name"

    static Project open(const QString &folder);

    QString file(const QString &path) const { return folder + u'/' + path; }
    /// The paths of all its files below the folder, sorted; hidden ones are left out.
    QStringList files() const;
};
