#include "webcall/DialDialog.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace dialwise {

DialDialog::DialDialog(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Dialwise"));

    auto *icon = new QLabel(this);
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxInformation, nullptr, this).pixmap(iconSize, iconSize));
    icon->setAlignment(Qt::AlignTop);

    auto *message = new QLabel(QStringLiteral("Dial Number"), this);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);
    auto *informative = new QLabel(QStringLiteral("Enter a phone number to call:"), this);

    m_numberField = new QLineEdit(this);
    m_numberField->setPlaceholderText(QStringLiteral("+1 (555) 123-4567"));
    m_numberField->setFixedSize(250, 24);

    m_callButton = new QPushButton(QStringLiteral("Call"), this);
    m_cancelButton = new QPushButton(QStringLiteral("Cancel"), this);
    // Return means "Call" wherever the focus is in the dialog; Escape means "Cancel".
    m_callButton->setDefault(true);
    m_cancelButton->setAutoDefault(false);
    connect(m_callButton, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancelButton, &QPushButton::clicked, this, &QDialog::reject);

    auto *texts = new QVBoxLayout;
    texts->addWidget(message);
    texts->addWidget(informative);
    texts->addWidget(m_numberField);
    auto *top = new QHBoxLayout;
    top->addWidget(icon);
    top->addLayout(texts, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_callButton);
    buttons->addWidget(m_cancelButton);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    m_numberField->setFocus();
}

std::optional<QString> DialDialog::ask()
{
    show();
    raise();
    activateWindow();
    if (exec() != QDialog::Accepted)
        return std::nullopt;
    return m_numberField->text();
}

} // namespace dialwise
