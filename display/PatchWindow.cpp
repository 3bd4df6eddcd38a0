#include "PatchWindow.h"

#include "PatchLayout.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QPainter>

#include <algorithm>

PatchWindow::PatchWindow(double patchPercent, double background, QWidget* parent)
    : QWidget(parent), m_patchPercent(patchPercent), m_background(EightBitLevel(background)) {
    setWindowTitle(QStringLiteral("chromameter patch"));
    setFocusPolicy(Qt::StrongFocus);
    // The whole window is painted every time: no system background, no half-drawn frame.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setCursor(Qt::BlankCursor);
}

QRect PatchWindow::patchArea() const {
    return PatchArea(size(), m_patchPercent);
}

QColor PatchWindow::backgroundColour() const {
    return QColor(m_background, m_background, m_background);
}

void PatchWindow::showMarker(const QString& message) {
    m_showsPatch = false;
    m_message = message;
    repaint();
}

void PatchWindow::showPatch(const QColor& colour) {
    m_showsPatch = true;
    m_colour = colour;
    m_message.clear();
    repaint();
    emit patchShown(colour);
}

void PatchWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), backgroundColour());
    const QRect area = patchArea();
    if (m_showsPatch)
        painter.fillRect(area, m_colour);
    else
        paintMarker(painter, area);
}

void PatchWindow::paintMarker(QPainter& painter, const QRect& area) {
    // A grey that stands apart from the background, whatever its level.
    const int ink = m_background < 128 ? 200 : 55;
    const int line = std::max(2, std::min(width(), height()) / 300);
    painter.fillRect(area, QColor(128, 128, 128));
    painter.setPen(QPen(QColor(ink, ink, ink), line));
    painter.drawRect(area.adjusted(line / 2, line / 2, -(line + 1) / 2, -(line + 1) / 2));
    const QPoint c = area.center();
    const int arm = std::max(8, std::min(area.width(), area.height()) / 8);
    painter.drawLine(c.x() - arm, c.y(), c.x() + arm, c.y());
    painter.drawLine(c.x(), c.y() - arm, c.x(), c.y() + arm);

    QFont font = painter.font();
    font.setPixelSize(std::max(14, height() / 40));
    painter.setFont(font);
    // Below the area when there is room, otherwise across the middle of the screen.
    const int textHeight = font.pixelSize() * 4;
    QRect text(0, area.bottom() + font.pixelSize(), width(), textHeight);
    if (text.bottom() > height())
        text = QRect(0, (height() - textHeight) / 2, width(), textHeight);
    painter.setPen(QColor(ink, ink, ink));
    painter.drawText(text, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, m_message);
}

void PatchWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        emit spacePressed();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        emit endRequested();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PatchWindow::closeEvent(QCloseEvent* event) {
    emit endRequested();
    event->accept();
}
