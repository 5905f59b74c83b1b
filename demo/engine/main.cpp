// A stand-in for the engine, small enough to be packed and unpacked in a moment. It speaks the
// engine's command line: the headless import, and the game in a window (none where there is no
// display). What it does on a project can be directed by a file there, see Behaviour.h.

#include "Behaviour.h"
#include "CommandLine.h"
#include "Console.h"
#include "Game.h"
#include "Importer.h"
#include "Project.h"

#include <QFile>
#include <QRegularExpression>

#include <csignal>
#include <cstdio>

namespace {

/// Official builds bear their version in their name, apart from those in a bundle.
QString versionOf(const QString &program)
{
    static const QRegularExpression form(QStringLiteral("Godot_v([0-9.]+)-stable"));
    const auto match = form.match(program.section(u'/', -1));
    return match.hasMatch() ? match.captured(1) : QStringLiteral("4");
}

void printWhatIsAskedFor(const Behaviour &behaviour)
{
    if (!behaviour.printText.isEmpty()) {
        Console::error(behaviour.printText);
    }
    if (behaviour.printParseError) {
        Console::error(QStringLiteral("SCRIPT ERROR: Parse Error: Unexpected \"}\" in class body.\n"
                                      "          at: GDScript::reload (res://main.gd:2)\n"
                                      "ERROR: Failed to load script \"res://main.gd\" with error "
                                      "\"Parse error\".\n"
                                      "   at: load (modules/gdscript/gdscript.cpp:3041)"));
    }
    for (int i = 0; i < behaviour.printLines; ++i) {
        std::printf("line %d\n", i);
    }
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }
    Console::print(QStringLiteral("Godot Engine v%1.stable.sample - https://godotengine.org")
                       .arg(versionOf(QFile::decodeName(argv[0]))));
    Console::print(QStringLiteral("Arguments: ") + arguments.join(u' '));
    Console::print();

    const CommandLine line = CommandLine::parse(arguments);
    if (!line.problem.isEmpty()) {
        Console::error(QStringLiteral("ERROR: ") + line.problem);
        return 1;
    }
    const Project project = Project::open(line.project);
    if (!project.exists) {
        Console::error(QStringLiteral("Error: Couldn't load project data at path \"%1\". Is the "
                                      ".pck file missing?")
                           .arg(line.project));
        return 1;
    }
    const Behaviour behaviour = Behaviour::read(line.project);
    if (behaviour.ignoreTerm) {
        std::signal(SIGTERM, SIG_IGN);
    }
    printWhatIsAskedFor(behaviour);
    for (const QString &path : behaviour.requireFile) {
        if (!QFile::exists(project.file(path))) {
            Console::error(QStringLiteral("ERROR: Cannot open file 'res://%1'.").arg(path));
            return 1;
        }
    }
    if (line.import) {
        Importer::run(project, behaviour.importSeconds);
        return behaviour.importExit;
    }
    return Game::run(argc, argv, project, line, behaviour);
}
