#pragma once

#include <QObject>
#include <QSet>

#include <functional>

namespace KeyboardShortcuts {

// Tells when the application's menus open and close: a menu is open from the moment one of
// its pop-up menus is shown until every shown one is hidden again.
class MenuTracker : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void(bool anyMenuOpen)>;

    // Starts the tracker of the application (once; it lives as long as the application).
    static void start(Callback callback);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    MenuTracker(Callback callback, QObject* parent);
    void update();

    Callback m_callback;
    QSet<QObject*> m_shownMenus;
    bool m_open = false;
};

} // namespace KeyboardShortcuts
