#include "cabstractpanelbutton.h"

#include "ui/panelpainting.h"
#include "ui/theme.h"

#include <QDebug>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPropertyAnimation>
#include <QVBoxLayout>

namespace {
constexpr int kAlignLeft = 1;
constexpr int kAlignRight = 2;
constexpr int kStripeWidth = 6;
constexpr int kInitialIconSize = 40;
constexpr int kIconSize = 45;
constexpr int kFlashMs = 1000;
constexpr Qt::Alignment kCentred = Qt::AlignHCenter | Qt::AlignVCenter;
// The ModBus entry is the one that is checked at start, so it starts active.
const QString kInitiallyActiveTitle = QStringLiteral("ModBus");
} // namespace

CAbstractPanelButton::CAbstractPanelButton(const QString &title, const QIcon &icon, QWidget *parent)
    : QAbstractButton(parent)
    , m_animation(new QPropertyAnimation(this, "backColor", this))
    , m_mainLayout(new QVBoxLayout(this))
    , m_topLayout(new QHBoxLayout)
    , m_titleLabel(new QLabel(title, this))
    , m_iconLabel(new QLabel(this))
    , m_stripe(new QWidget(this))
    , m_mainBox(new QGroupBox(this))
    , m_groupLayout(new QVBoxLayout(m_mainBox))
{
    setCheckable(true);
    setChecked(false);

    m_mainLayout->setContentsMargins(0, 0, 0, 0);
    m_mainLayout->setSpacing(0);
    m_topLayout->setContentsMargins(0, 0, 0, 0);
    m_topLayout->setSpacing(0);
    m_mainLayout->addLayout(m_topLayout);

    m_stripe->setFixedWidth(kStripeWidth);
    m_stripe->setStyleSheet(kTransparentStripeStyle);
    m_topLayout->addWidget(m_stripe, 0, Qt::AlignLeft);

    m_iconLabel->setObjectName(QStringLiteral("icoLab"));
    if (!icon.isNull())
        m_iconLabel->setPixmap(icon.pixmap(kInitialIconSize));
    m_topLayout->addWidget(m_iconLabel, icon.isNull() ? 0 : 1, kCentred);

    m_titleLabel->setObjectName(QStringLiteral("titleLable"));
    m_titleLabel->setAlignment(kCentred);
    m_topLayout->addWidget(m_titleLabel, 3, kCentred);

    m_mainBox->setObjectName(QStringLiteral("mainBox"));
    m_mainBox->hide();
    m_mainBox->setSizePolicy(QSizePolicy::MinimumExpanding, QSizePolicy::MinimumExpanding);
    m_groupLayout->setContentsMargins(3, 3, 3, 3);
    m_groupLayout->setSpacing(3);
    m_mainLayout->addWidget(m_mainBox);

    connect(this, &QAbstractButton::toggled, this, &CAbstractPanelButton::clickSlot);

    if (title == kInitiallyActiveTitle) {
        m_stripe->setStyleSheet(kRedStripeStyle);
        m_active = true;
    }
}

QSize CAbstractPanelButton::sizeHint() const
{
    // The layout and the style sheet's min-height decide the real size.
    return QSize(kStripeWidth, kStripeWidth);
}

int CAbstractPanelButton::picAlign() const
{
    return m_picAlign;
}

QColor CAbstractPanelButton::backColor() const
{
    return QColor(Qt::black);
}

void CAbstractPanelButton::setBackColor(QColor _backColor)
{
    setStyleSheet(tr("CAbstractPanelButton { background-color: rgba(%1, %2, %3, %4);}")
                          .arg(_backColor.red())
                          .arg(_backColor.green())
                          .arg(_backColor.blue())
                          .arg(_backColor.alpha()));
}

void CAbstractPanelButton::setPicAlign(int sPicAlign)
{
    if (sPicAlign == m_picAlign)
        return;
    if (sPicAlign != kAlignLeft && sPicAlign != kAlignRight) {
        qDebug() << "[CAbstractPanelButton::setPicAlign] Current alingn for ICO is not supported."
                    " Auto-apply with Qt::AlignLeft";
        sPicAlign = kAlignLeft;
    }
    m_picAlign = sPicAlign;

    m_topLayout->removeWidget(m_iconLabel);
    if (sPicAlign == kAlignRight)
        m_topLayout->addWidget(m_iconLabel, 1, kCentred);
    else
        m_topLayout->insertWidget(1, m_iconLabel, 1, kCentred);
}

void CAbstractPanelButton::clickSlot(bool _click)
{
    m_active = _click;
    m_stripe->setStyleSheet(_click ? kRedStripeStyle : kTransparentStripeStyle);
    m_mainBox->setVisible(_click && m_fullView && groupHasItems());
}

void CAbstractPanelButton::setIcon(QIcon icon)
{
    m_iconLabel->setPixmap(icon.pixmap(kIconSize));
}

// Adding leaves the group open or closed as it was.
void CAbstractPanelButton::addWidget(QWidget *wdgt)
{
    m_groupLayout->addWidget(wdgt);
}

void CAbstractPanelButton::addLayout(QLayout *lay)
{
    m_groupLayout->addLayout(lay);
}

void CAbstractPanelButton::animationEvent(bool success)
{
    if (m_animation->state() == QAbstractAnimation::Running)
        m_animation->stop();
    m_animation->setDuration(kFlashMs);
    m_animation->setStartValue(success ? QC_GLOB_GREEN2_L2 : QC_GLOB_RED1_L2);
    m_animation->setEndValue(QC_GLOB_WHITE1_L1);
    m_animation->start(QAbstractAnimation::KeepWhenStopped);
}

void CAbstractPanelButton::setFullView(bool _fullView)
{
    m_fullView = _fullView;
    if (m_active && groupHasItems() && m_extraGroupVisible)
        m_mainBox->setVisible(_fullView);
    else
        m_mainBox->hide();
    m_titleLabel->setVisible(_fullView);
}

void CAbstractPanelButton::setExtraGroupVisible(bool visible)
{
    m_extraGroupVisible = visible;
    if (m_fullView && m_active)
        m_mainBox->setVisible(visible);
}

void CAbstractPanelButton::paintEvent(QPaintEvent *)
{
    // The style sheet gives a checked entry its :pressed background.
    PanelPainting::paintButtonBackground(this, isChecked() || isDown());
}

bool CAbstractPanelButton::groupHasItems() const
{
    return m_groupLayout->count() > 0;
}
