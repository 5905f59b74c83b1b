#pragma once

#include <QElapsedTimer>
#include <QRasterWindow>
#include <QTimer>

/// The game as the sample engine shows it: a map seen from above on which units move.
class SceneWindow : public QRasterWindow
{
    Q_OBJECT

public:
    explicit SceneWindow(const QString &title);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void paintMap(QPainter &painter) const;
    void paintUnits(QPainter &painter, double seconds) const;

    QElapsedTimer running_;
    QTimer frames_;
};
