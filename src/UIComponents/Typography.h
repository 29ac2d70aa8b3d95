#pragma once

#include <QFont>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// Vantor's type scale, derived from the desktop's general font (its family and size), so
// the screens follow the user's font settings, also while they are open.
class Typography final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QFont title READ title NOTIFY changed)
    Q_PROPERTY(QFont title3 READ title3 NOTIFY changed)
    Q_PROPERTY(QFont headline READ headline NOTIFY changed)
    Q_PROPERTY(QFont body READ body NOTIFY changed)
    // The body font, semibold: a primary button's label.
    Q_PROPERTY(QFont bodySemibold READ bodySemibold NOTIFY changed)
    Q_PROPERTY(QFont caption READ caption NOTIFY changed)
    Q_PROPERTY(QFont footnote READ footnote NOTIFY changed)

public:
    explicit Typography(QObject* parent = nullptr);

    QFont title() const { return scaled(22.0 / 13.0, QFont::Normal); }
    QFont title3() const { return scaled(15.0 / 13.0, QFont::Normal); }
    QFont headline() const { return scaled(1.0, QFont::Bold); }
    QFont body() const { return scaled(1.0, QFont::Normal); }
    QFont bodySemibold() const { return scaled(1.0, QFont::DemiBold); }
    QFont caption() const { return scaled(10.0 / 13.0, QFont::Normal); }
    QFont footnote() const { return scaled(11.0 / 13.0, QFont::Normal); }

Q_SIGNALS:
    void changed();

private:
    QFont scaled(double factor, QFont::Weight weight) const;
    bool eventFilter(QObject* watched, QEvent* event) override;
};
