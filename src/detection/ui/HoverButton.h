#pragma once

#include <QColor>
#include <QIcon>
#include <QPushButton>
#include <QString>
#include <QStringList>

namespace dialwise {

// The strip's one button: a phone icon, "  Call with Dialwise" and the number's display form,
// flat until the pointer is over it, then on the accent colour with white texts.
class HoverButton final : public QPushButton
{
    Q_OBJECT

public:
    // numberText: the number's display form, or empty to show only "  Call with Dialwise".
    HoverButton(const QString &phoneNumber, const QString &numberText, QWidget *parent = nullptr);

    QString phoneNumber() const { return m_phoneNumber; }
    bool isHovered() const { return m_hovered; }
    // The title's texts in order: "  Call with Dialwise", then "  " + the number when shown.
    QStringList titlePieces() const;
    QColor primaryColor() const { return m_primary; }
    QColor secondaryColor() const { return m_secondary; }
    QColor backgroundColor() const { return m_background; } // transparent when not hovered
    // The phone icon: the theme's "call-start", or Dialwise's own when the theme has none.
    static QIcon phoneIcon();

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void rebuildTitle(bool hovered);

    QString m_phoneNumber;
    QString m_numberText;
    bool m_hovered = false;
    QColor m_primary;
    QColor m_secondary;
    QColor m_background;
};

} // namespace dialwise
