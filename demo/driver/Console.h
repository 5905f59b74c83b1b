#pragma once

#include "core/AppModel.h"

namespace brindle {

/// Shows a model on a terminal: each headline, each line of the log, and on a real terminal a
/// progress line that is redrawn in place.
class Console : public QObject
{
    Q_OBJECT

public:
    explicit Console(AppModel &model);

    /// Prints a chapter's title.
    static void title(const QString &text);

private:
    void showHeadline();
    void showProgress();
    void showLog();
    void print(const QString &line);

    AppModel &model_;
    bool isTerminal_;
    bool progressShown_ = false;
    QString headline_;
    qint64 linesShown_ = 0; // counted from the log's beginning, dropped ones included
};

} // namespace brindle
