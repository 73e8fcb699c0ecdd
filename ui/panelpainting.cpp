#include "panelpainting.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>
#include <QWidget>

void PanelPainting::paintButtonBackground(QWidget *widget, bool sunken)
{
    QPainter painter(widget);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.setFont(widget->font());
    painter.setPen(Qt::NoPen);
    QStyleOptionButton option;
    option.initFrom(widget);
    if (sunken)
        option.state |= QStyle::State_Sunken;
    widget->style()->drawControl(QStyle::CE_PushButton, &option, &painter, widget);
}
