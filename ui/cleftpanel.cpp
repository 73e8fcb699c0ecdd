#include "cleftpanel.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>
#include <QVBoxLayout>

namespace {
constexpr int kExpandedStretch = 50;
}

CLeftPanel::CLeftPanel(QWidget *parent)
    : QWidget(parent)
    , m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("CLeftPanel"));
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
}

void CLeftPanel::addWidget(QWidget *widget, int stretch, Qt::Alignment alignment)
{
    if (!widget)
        return;
    m_layout->addWidget(widget, stretch, alignment);
}

void CLeftPanel::expandWidget(QWidget *wdgt)
{
    if (!wdgt)
        wdgt = qobject_cast<QWidget *>(sender());
    // A null widget would match a spacer of the layout.
    const int index = wdgt ? m_layout->indexOf(wdgt) : -1;
    if (index >= 0)
        m_layout->setStretch(index, kExpandedStretch);
    update();
}

void CLeftPanel::unexpandAll()
{
    for (int index = 0; index < m_layout->count(); ++index)
        m_layout->setStretch(index, 0);
    update();
}

void CLeftPanel::paintEvent(QPaintEvent *)
{
    // A QWidget subclass gets the background of its style sheet rule only
    // when it draws it itself.
    QPainter painter(this);
    painter.setPen(Qt::NoPen);
    QStyleOptionButton option;
    option.initFrom(this);
    style()->drawControl(QStyle::CE_PushButton, &option, &painter, this);
}
