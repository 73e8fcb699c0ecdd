#include "csearcheditwidget.h"

#include "ui/panelpainting.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>

namespace {
constexpr int kButtonSize = 26;

QPushButton *makeButton(const QString &iconPath, QWidget *parent)
{
    auto *button = new QPushButton(QIcon(iconPath), QString(), parent);
    button->setObjectName(QStringLiteral("searchBtn"));
    button->setFixedSize(kButtonSize, kButtonSize);
    return button;
}
} // namespace

CSearchEditWidget::CSearchEditWidget(QWidget *parent)
    : QWidget(parent)
    , m_layout(new QHBoxLayout(this))
    , m_lineEdit(new QLineEdit(this))
    , m_searchButton(makeButton(QStringLiteral(":/searchIco.png"), this))
    , m_clearButton(makeButton(QStringLiteral(":/deleteIco.png"), this))
{
    setObjectName(QStringLiteral("CSearchEditWidget"));
    m_layout->setContentsMargins(3, 3, 3, 3);
    m_layout->setSpacing(4);
    m_layout->addWidget(m_searchButton);
    m_layout->addWidget(m_clearButton);
    m_layout->addWidget(m_lineEdit);

    connect(m_lineEdit, &QLineEdit::textChanged, this, &CSearchEditWidget::textImmediatelyChanged);
    connect(m_searchButton, &QPushButton::clicked, this, &CSearchEditWidget::textChangedSlot);
    connect(m_clearButton, &QPushButton::clicked, this, &CSearchEditWidget::textClearSlot);

    // Return pressed in the line edit is ignored there and reaches this widget.
    installEventFilter(this);
}

bool CSearchEditWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            textChangedSlot();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

void CSearchEditWidget::textChangedSlot()
{
    emit textChangedSignal(m_lineEdit->text());
}

void CSearchEditWidget::textClearSlot()
{
    m_lineEdit->clear();
    emit textChangedSignal(QString());
}

void CSearchEditWidget::setText(QString _text)
{
    m_lineEdit->setText(_text);
}

void CSearchEditWidget::clear()
{
    textClearSlot();
}

void CSearchEditWidget::paintEvent(QPaintEvent *)
{
    PanelPainting::paintButtonBackground(this);
}
