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
    QQmlEngine *engine() { return &engine_; }
    /// Opens "settings", "about" or "log". Returns the sheet's view.
    QQuickItem *openSheet(const QString &name);
    /// Shows an alert, calls `act` with its view, and returns the answer. Dismisses an alert that
    /// `act` leaves open.
    int withAlert(const Alert &alert, const std::function<void(QQuickItem *)> &act);
    /// The visible item of this object name; null if there is none.
    QQuickItem *find(const QString &name) const;
    static QQuickItem *find(QQuickWindow *in, const QString &name);
    /// Presses and releases a mouse button in the middle of a visible item.
    void click(const QString &name);
    /// Serves events until every window has drawn what it shows.
    static void settle(QQuickWindow *window);
    LogStore log;

private:
    QQmlEngine engine_;
    std::unique_ptr<QObject> model_;
    std::unique_ptr<QQuickWindow> window_;
};

} // namespace brindle
