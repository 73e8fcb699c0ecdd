#include "csimpleregistereditwidget.h"

#include "database/cregisterdecimals.h"

#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

namespace {
constexpr int kDecimals = 6;
constexpr int kDecimalsEditWidth = 24;
const QSizePolicy kLabelPolicy(QSizePolicy::Expanding, QSizePolicy::MinimumExpanding);

// Labels and edits stay legible on the editor's white background whatever
// the application's palette.
void setBlackText(QWidget *widget)
{
    const QColor black(QStringLiteral("black"));
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Text, black);
    palette.setColor(QPalette::WindowText, black);
    widget->setPalette(palette);
}

QVBoxLayout *column()
{
    auto *layout = new QVBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    return layout;
}

QHBoxLayout *addField(QVBoxLayout *column, const QString &labelText, QLineEdit *edit, QWidget *parent)
{
    auto *label = new QLabel(labelText, parent);
    setBlackText(label);
    setBlackText(edit);
    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(5);
    row->addWidget(label);
    row->addWidget(edit);
    row->addStretch(2);
    column->addLayout(row);
    return row;
}

QString decimalText(double value)
{
    return QStringLiteral("%1").arg(value, 0, 'f', kDecimals);
}
} // namespace

CSimpleRegisterEditWidget::CSimpleRegisterEditWidget(QWidget *parent)
    : QWidget(parent)
    , m_extraValueEdit(new QLineEdit(this))
    , m_multiplierEdit(new QLineEdit(this))
    , m_unitsEdit(new QLineEdit(this))
    , m_nameLabel(new QLabel(this))
    , m_decimalsEdit(new QLineEdit(this))
{
    // Opaque, so that the row painted beneath does not show through.
    setAttribute(Qt::WA_StyledBackground, true);
    setStyleSheet(QStringLiteral("QWidget{background-color: #FFF;}"));
    // No sign: neither number can be negative, and a complete entry has a
    // decimal point.
    auto *validator = new QRegularExpressionValidator(
            QRegularExpression(QStringLiteral("[0-9]{1,}\\.[0-9]{1,}")), this);
    m_extraValueEdit->setValidator(validator);
    m_multiplierEdit->setValidator(validator);

    QVBoxLayout *fields = column();
    addField(fields, QStringLiteral("ExtraValue: "), m_extraValueEdit, this);
    addField(fields, QStringLiteral("Multiplier: "), m_multiplierEdit, this);
    QHBoxLayout *unitsRow = addField(fields, QStringLiteral("Units: "), m_unitsEdit, this);

    m_nameLabel->setStyleSheet(QStringLiteral("QLabel { color: #0c3342; font-weight: bold;}"));
    m_nameLabel->setWordWrap(true);
    m_nameLabel->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    m_nameLabel->setSizePolicy(kLabelPolicy);

    auto *formula = new QLabel(QStringLiteral("Value = RAW * Multiplier + ExtraValue"), this);
    setBlackText(formula);
    formula->setSizePolicy(kLabelPolicy);
    formula->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);

    m_decimalsEdit->setObjectName(QStringLiteral("decimalsEdit"));
    m_decimalsEdit->setValidator(new QIntValidator(0, CRegisterDecimals::kMaxDecimals, m_decimalsEdit));
    m_decimalsEdit->setToolTip(tr("Decimals the stored value keeps: it is stored times 10 to this power"));

    // The row has no height to spare: the decimals share the units' line.
    auto *decimalsLabel = new QLabel(tr("Decimals: "), this);
    setBlackText(decimalsLabel);
    setBlackText(m_decimalsEdit);
    m_decimalsEdit->setFixedWidth(kDecimalsEditWidth);
    unitsRow->insertWidget(unitsRow->count() - 1, decimalsLabel);
    unitsRow->insertWidget(unitsRow->count() - 1, m_decimalsEdit);

    QVBoxLayout *description = column();
    description->addWidget(m_nameLabel, 0, Qt::AlignHCenter | Qt::AlignTop);
    description->addWidget(formula, 0, Qt::AlignHCenter | Qt::AlignVCenter);

    auto *columns = new QHBoxLayout;
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(5);
    columns->addLayout(fields, 1);
    columns->addLayout(description, 1);

    auto *mainLayout = new QVBoxLayout(this);
    mainLayout->setContentsMargins(5, 5, 5, 5);
    mainLayout->setSpacing(1);
    mainLayout->addLayout(columns);
}

void CSimpleRegisterEditWidget::setData(QString name, double _extraValue, double _multiplier, QString _units)
{
    m_nameLabel->setText(name);
    m_extraValueEdit->setText(decimalText(_extraValue));
    m_multiplierEdit->setText(decimalText(_multiplier));
    m_unitsEdit->setText(_units);
}

double CSimpleRegisterEditWidget::getExtraValue()
{
    return m_extraValueEdit->text().toDouble();
}

double CSimpleRegisterEditWidget::getMultiplier()
{
    return m_multiplierEdit->text().toDouble();
}

QString CSimpleRegisterEditWidget::getUnits()
{
    return m_unitsEdit->text();
}

void CSimpleRegisterEditWidget::setDecimals(int decimals)
{
    m_decimalsEdit->setText(QString::number(decimals));
}

int CSimpleRegisterEditWidget::getDecimals()
{
    return m_decimalsEdit->text().toInt();
}
