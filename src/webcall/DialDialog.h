#pragma once

#include <QDialog>
#include <optional>

class QLineEdit;
class QPushButton;

namespace dialwise {

// "Dial Number": asks for a phone number. "Call" is the default button, so Return calls.
class DialDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit DialDialog(QWidget *parent = nullptr);

    // Raises Dialwise, runs the dialog modally and answers the text exactly as typed when the
    // user chose "Call", or no value on "Cancel".
    std::optional<QString> ask();

    QLineEdit *numberField() const { return m_numberField; }
    QPushButton *callButton() const { return m_callButton; }
    QPushButton *cancelButton() const { return m_cancelButton; }

private:
    QLineEdit *m_numberField = nullptr;
    QPushButton *m_callButton = nullptr;
    QPushButton *m_cancelButton = nullptr;
};

} // namespace dialwise
