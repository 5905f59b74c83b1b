#include "CommandLine.h"

#include <QRegularExpression>

namespace {

std::optional<QSize> parseSize(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A([0-9]{1,5})x([0-9]{1,5})\\z"));
    const auto match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return QSize(match.captured(1).toInt(), match.captured(2).toInt());
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    CommandLine line;
    bool headless = false;
    bool quit = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--headless") {
            headless = true;
        } else if (argument == u"--import") {
            line.import = true;
        } else if (argument == u"--quit") {
            quit = true;
        } else if (argument == u"--windowed") {
            line.fullscreen = false;
        } else if (argument == u"--fullscreen") {
            line.fullscreen = true;
        } else if (argument == u"--path" && i + 1 < arguments.size()) {
            line.project = arguments.at(++i);
        } else if (argument == u"--resolution" && i + 1 < arguments.size()) {
            line.resolution = parseSize(arguments.at(++i));
            if (!line.resolution) {
                line.problem = QStringLiteral("Invalid resolution '%1'.").arg(arguments.at(i));
            }
        } else {
            line.problem = QStringLiteral("Unknown argument '%1'.").arg(argument);
        }
    }
    if (line.problem.isEmpty() && line.project.isEmpty()) {
        line.problem = QStringLiteral("No project was given.");
    }
    if (line.problem.isEmpty() && (headless != line.import || quit != line.import)) {
        line.problem = QStringLiteral("--headless, --import and --quit only go together.");
    }
    return line;
}
