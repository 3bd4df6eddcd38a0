#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

// The full-screen window the instrument looks at: a background grey and, in a centred area, either
// the patch being measured or, while the run waits for the user, that area marked out with a line of
// instructions beside it. It paints nothing else, so nothing but the patch reaches the instrument
// while it measures; device values go to the screen as they are.
class PatchWindow : public QWidget {
    Q_OBJECT

public:
    // `patchPercent`: the patch area's share of the screen (100: all of it); `background`: 0..1 grey.
    PatchWindow(double patchPercent, double background, QWidget* parent = nullptr);

    // Marks the patch area and shows `message` beside it (the run is waiting for the user).
    void showMarker(const QString& message);
    // Fills the patch area with `colour`, painted before this returns.
    void showPatch(const QColor& colour);

    bool showsPatch() const { return m_showsPatch; }
    QColor patchColour() const { return m_colour; }
    QString message() const { return m_message; }
    // The patch area in the window's coordinates.
    QRect patchArea() const;
    QColor backgroundColour() const;

signals:
    void spacePressed();
    // Esc, or the window was closed.
    void endRequested();
    // A patch has just been painted.
    void patchShown(const QColor& colour);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void paintMarker(class QPainter& painter, const QRect& area);

    double m_patchPercent;
    int m_background;
    bool m_showsPatch = false;
    QColor m_colour;
    QString m_message;
};
