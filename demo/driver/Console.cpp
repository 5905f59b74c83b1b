#include "Console.h"

#include <cstdio>
#include <unistd.h>

namespace brindle {

namespace {

constexpr int barWidth = 30;

QString bar(const std::optional<double> &fraction)
{
    if (!fraction) {
        return QString(barWidth, QChar(u'·'));
    }
    const int filled = static_cast<int>(std::clamp(*fraction, 0.0, 1.0) * barWidth);
    return QString(filled, QChar(u'█')) + QString(barWidth - filled, QChar(u'░'));
}

} // namespace

Console::Console(AppModel &model) : model_(model), isTerminal_(isatty(STDOUT_FILENO) != 0)
{
    connect(&model, &AppModel::stepTextChanged, this, &Console::showHeadline);
    connect(&model, &AppModel::detailChanged, this, &Console::showProgress);
    connect(&model.log, &LogStore::linesChanged, this, &Console::showLog);
}

void Console::title(const QString &text)
{
    std::printf("\n%s\n%s\n", qPrintable(text), QByteArray(text.size(), '=').constData());
    std::fflush(stdout);
}

void Console::showHeadline()
{
    const QString headline = model_.stepText();
    if (headline != std::exchange(headline_, headline) && !headline.isEmpty()) {
        print(QStringLiteral("▶ ") + headline);
    }
}

void Console::showProgress()
{
    if (!isTerminal_ || model_.detail().isEmpty()) {
        return;
    }
    std::printf("\r\x1b[K  %s  %s", qPrintable(bar(model_.progress())),
                qPrintable(model_.detail()));
    std::fflush(stdout);
    progressShown_ = true;
}

void Console::showLog()
{
    const auto &lines = model_.log.lines();
    const qint64 dropped = model_.log.dropped();
    for (qint64 i = std::max(linesShown_, dropped); i < dropped + lines.size(); ++i) {
        print(QStringLiteral("  ") + lines.at(i - dropped));
    }
    linesShown_ = dropped + lines.size();
}

void Console::print(const QString &line)
{
    if (std::exchange(progressShown_, false)) {
        std::printf("\r\x1b[K");
    }
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

} // namespace brindle
