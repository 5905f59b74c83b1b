#pragma once

#include "core/Dependencies.h"
#include "log/LogStore.h"

#include <QQmlEngine>
#include <QQuickWindow>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace brindle {

/// The main window on a stand-in model.
class ViewFixture
{
public:
    ViewFixture();
    ~ViewFixture();

    /// Light or dark, for all windows; to be called before the first window is made or between.
    static void setDark(bool dark);
    /// The desktop's default font, for all windows.
    static void setFont(const QString &family, int pixels);
    /// The type scale's own size, so that pictures look the same everywhere.
    static void setUpApplication();

    /// Sets properties of the stand-in.
    void set(const QVariantMap &properties);
    /// The stand-in's properties that are texts.
    QStringList textProperties() const;
    /// What has been called on the stand-in.
    QStringList calls() const;

    QQuickWindow *window() const { return window_.get(); }
    /// Opens "settings", "about" or "log"; returns the sheet's window once it is shown.
    QQuickWindow *openSheet(const QString &name);
    /// Shows an alert over the main window, lets `act` work on its window once it has the keyboard,
    /// and returns the answer. An alert that `act` leaves open is closed.
    int withAlert(const Alert &alert, const std::function<void(QQuickWindow *)> &act);
    /// The item of this object name, in the main window or the given one; null if there is none
    /// or it can't be seen.
    QQuickItem *find(const QString &name, QQuickWindow *in = nullptr) const;
    static QQuickItem *find(QQuickWindow *in, const QString &name);
    /// Serves events until every window has drawn what it shows.
    static void settle(QQuickWindow *window);
    /// Rests the pointer on the progress bar, that share of its width from the left; returns what
    /// then appears, once it has.
    QQuickItem *restOnProgress(double share);

    LogStore log;

private:
    QQmlEngine engine_;
    std::unique_ptr<QObject> model_;
    std::unique_ptr<QQuickWindow> window_;
};

} // namespace brindle
