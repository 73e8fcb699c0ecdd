#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QIcon>

class QGroupBox;
class QHBoxLayout;
class QLabel;
class QPropertyAnimation;
class QVBoxLayout;

// One entry of the left panel: a checkable title bar with an icon and a
// stripe that turns red while the entry is active. In full view it can fold
// out a group of controls beneath it, and it can flash a colour.
class CAbstractPanelButton : public QAbstractButton
{
    Q_OBJECT
    // 1: icon on the left (Qt::AlignLeft), 2: on the right (Qt::AlignRight).
    Q_PROPERTY(int sPicAlign READ picAlign WRITE setPicAlign)
    // Written by the flash animation only; reads are meaningless.
    Q_PROPERTY(QColor backColor READ backColor WRITE setBackColor)

public:
    CAbstractPanelButton(const QString &title, const QIcon &icon, QWidget *parent = nullptr);

    QSize sizeHint() const override;

    int picAlign() const;
    QColor backColor() const;

signals:
    void invalidDb();

public slots:
    void setBackColor(QColor _backColor);
    void setPicAlign(int sPicAlign);
    void clickSlot(bool _click);
    void setIcon(QIcon icon);
    void addWidget(QWidget *wdgt);
    void addLayout(QLayout *lay);
    void animationEvent(bool success = true);
    void setFullView(bool _fullView);
    void setExtraGroupVisible(bool visible);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    bool groupHasItems() const;

    int m_picAlign = 1;
    bool m_active = false;
    QPropertyAnimation *m_animation;
    bool m_fullView = false;
    bool m_extraGroupVisible = false;
    QVBoxLayout *m_mainLayout;
    QHBoxLayout *m_topLayout;
    QLabel *m_titleLabel;
    QLabel *m_iconLabel;
    QWidget *m_stripe;
    QGroupBox *m_mainBox;
    QVBoxLayout *m_groupLayout;
};
