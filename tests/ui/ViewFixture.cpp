#include "ViewFixture.h"

#include "support/Await.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QMetaProperty>
#include <QPalette>
#include <QQmlComponent>
#include <QQuickItem>
#include <QTest>

#include <optional>

namespace brindle {

namespace {

/// The first visible item of that name.
QQuickItem *descendant(QQuickItem *item, const QString &name)
{
    if (item->objectName() == name && item->isVisible()) {
        return item;
    }
    const auto children = item->childItems();
    for (QQuickItem *child : children) {
        if (QQuickItem *const found = descendant(child, name)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace

void ViewFixture::setUpApplication()
{
    static bool once = false;
    if (once) {
        return;
    }
    once = true;
    BrindleApp::prepare();
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    setFont(QFontDatabase::hasFamily(QStringLiteral("Inter")) ? QStringLiteral("Inter")
                                                              : QGuiApplication::font().family(),
            13);
    setDark(false);
}

void ViewFixture::setFont(const QString &family, int pixels)
{
    QFont font(family);
    font.setPixelSize(pixels);
    QGuiApplication::setFont(font);
}

void ViewFixture::setDark(bool dark)
{
    QPalette palette;
    palette.setColor(QPalette::Window, dark ? QColor(30, 30, 30) : QColor(240, 240, 240));
    palette.setColor(QPalette::WindowText, dark ? Qt::white : Qt::black);
    QGuiApplication::setPalette(palette);
}

ViewFixture::ViewFixture()
{
    setUpApplication();
    QQmlComponent standIn(&engine_, QUrl::fromLocalFile(QStringLiteral(TEST_FOLDER) +
                                                        QStringLiteral("/StandIn.qml")));
    model_.reset(standIn.create());
    if (!model_) {
        qFatal("%s", qPrintable(standIn.errorString()));
    }
    model_->setProperty("log", QVariant::fromValue<QObject *>(&log));
    QQmlComponent component(&engine_, BrindleApp::mainWindow());
    if (!component.isReady()) {
        qFatal("%s", qPrintable(component.errorString()));
    }
    window_.reset(qobject_cast<QQuickWindow *>(component.createWithInitialProperties(
        {{QStringLiteral("model"), QVariant::fromValue(model_.get())}})));
    if (!window_) {
        qFatal("%s", qPrintable(component.errorString()));
    }
    window_->show();
}

ViewFixture::~ViewFixture() = default;

void ViewFixture::set(const QVariantMap &properties)
{
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        if (!model_->setProperty(it.key().toUtf8().constData(), it.value())) {
            qFatal("the stand-in has no property %s", qPrintable(it.key()));
        }
    }
}

QStringList ViewFixture::textProperties() const
{
    QStringList names;
    const QMetaObject *const type = model_->metaObject();
    for (int i = QObject::staticMetaObject.propertyCount(); i < type->propertyCount(); ++i) {
        if (type->property(i).typeId() == QMetaType::QString) {
            names << QString::fromLatin1(type->property(i).name());
        }
    }
    return names;
}

QStringList ViewFixture::calls() const
{
    return model_->property("calls").toStringList();
}

QQuickItem *ViewFixture::find(const QString &name) const
{
    return find(window_.get(), name);
}

QQuickItem *ViewFixture::find(QQuickWindow *in, const QString &name)
{
    return descendant(in->contentItem(), name);
}

void ViewFixture::click(const QString &name)
{
    settle(window());
    QQuickItem *const item = find(name);
    QTest::mouseClick(window(), Qt::LeftButton, {},
                      item->mapToScene(item->boundingRect().center()).toPoint());
}

QQuickItem *ViewFixture::openSheet(const QString &name)
{
    QQuickItem *const content = find(QStringLiteral("content"));
    content->setProperty(qPrintable(name + QStringLiteral("Shown")), true);
    const auto *const sheet = content->findChild<QObject *>(name + QStringLiteral("Sheet"));
    spinUntil([sheet] { return sheet->property("opened").toBool(); });
    settle(window());
    return sheet->property("view").value<QQuickItem *>();
}

int ViewFixture::withAlert(const Alert &alert, const std::function<void(QQuickItem *)> &act)
{
    QuickDesktop desktop({});
    desktop.setWindow(&engine_, window_.get());
    spinUntil([this] { return QGuiApplication::focusWindow() == window(); });
    std::optional<int> answer;
    desktop.runAlert(alert).then([&](int pressed) { answer = pressed; });
    settle(window());
    act(find(QStringLiteral("alert")));
    if (!answer) {
        desktop.dismissAlert();
    }
    spinUntil([&] { return answer.has_value(); });
    return *answer;
}

void ViewFixture::settle(QQuickWindow *window)
{
    spinUntil([window] { return window->isExposed(); });
    for (int frame = 0; frame < 2; ++frame) {
        bool drawn = false;
        const auto connection = QObject::connect(window, &QQuickWindow::afterRendering, window,
                                                 [&drawn] { drawn = true; });
        window->update();
        spinUntil([&drawn] { return drawn; });
        QObject::disconnect(connection);
    }
}

} // namespace brindle
