#include "KeyboardShortcuts/RecorderControl.h"

#include "KeyboardShortcuts/Bell.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Localization.h"
#include "KeyboardShortcuts/PreferencesWatcher.h"
#include "KeyboardShortcuts/RecorderAlert.h"

#include <QKeyEvent>
#include <QVariantMap>

namespace KeyboardShortcuts {
namespace {

// Grown by this much on every side, the field still counts as clicked.
constexpr qreal clickMargin = 3;

} // namespace

// Calls back when its window gets the keyboard focus, before the window's items hear of it.
// The recorder's connections to the window go with it.
class WindowFocusFilter : public QObject {
public:
    WindowFocusFilter(QWindow* window, std::function<void()> focusIn)
        : m_window(window), m_focusIn(std::move(focusIn))
    {
        m_window->installEventFilter(this);
    }
    ~WindowFocusFilter() override
    {
        if (m_window)
            m_window->removeEventFilter(this);
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::FocusIn)
            m_focusIn();
        return false;
    }

private:
    QPointer<QWindow> m_window;
    std::function<void()> m_focusIn;
};

namespace {

QVariant toVariant(const std::optional<Shortcut>& shortcut)
{
    if (!shortcut)
        return QVariant::fromValue(nullptr);
    return QVariantMap{{QStringLiteral("carbonKeyCode"), shortcut->carbonKeyCode},
        {QStringLiteral("carbonModifiers"), shortcut->carbonModifiers}};
}

bool isFocusFromMouse(const QQuickItem* field)
{
    return field->property("focusReason").toInt() == Qt::MouseFocusReason;
}

} // namespace

RecorderControl::RecorderControl(QObject* parent) : QObject(parent)
{
    PreferencesWatcher::shared();
    m_shortcutObserver = NotificationCenter::defaultCenter().addObserver(
        shortcutByNameDidChange,
        [this](const Notification& notification) {
            if (notification.userInfo.value(QStringLiteral("name")).value<Name>() == m_name)
                refreshText();
        },
        this);
}

RecorderControl::~RecorderControl()
{
    NotificationCenter::defaultCenter().removeObserver(m_shortcutObserver);
    m_session.reset();
}

void RecorderControl::setShortcutName(const QString& name)
{
    if (name == m_name.rawValue())
        return;
    endRecording();
    m_name = Name(name);
    refreshText();
    Q_EMIT shortcutNameChanged();
}

void RecorderControl::setField(QQuickItem* field)
{
    if (field == m_field)
        return;
    endRecording();
    if (m_field)
        m_field->disconnect(this);
    m_field = field;
    if (m_field) {
        connect(
            m_field, &QQuickItem::activeFocusChanged, this, &RecorderControl::fieldFocusChanged);
        connect(m_field, &QQuickItem::windowChanged, this, &RecorderControl::attachWindow);
        connect(m_field, &QObject::destroyed, this, [this] { endRecording(Focus::keep); });
    }
    attachWindow(m_field ? m_field->window() : nullptr);
    Q_EMIT fieldChanged();
}

QString RecorderControl::placeholderText() const
{
    return localized(isRecording() ? "press_shortcut" : "record_shortcut");
}

void RecorderControl::clear()
{
    setShortcut(std::nullopt, m_name);
    refreshText();
    announceChange(std::nullopt);
}

void RecorderControl::answerAlert(int button)
{
    const auto pending = std::exchange(m_pendingAlert, std::nullopt);
    if (!pending || !m_field)
        return;
    m_field->forceActiveFocus(Qt::OtherFocusReason);
    if (pending->step == RecorderVerdict::usedBySystem && button == 1)
        accept(pending->shortcut);
}

void RecorderControl::refreshText()
{
    const auto shortcut = m_name.rawValue().isEmpty() ? std::nullopt : getShortcut(m_name);
    QString text = shortcut ? shortcut->presentableDescription() : QString();
    if (text == m_text)
        return;
    m_text = std::move(text);
    Q_EMIT textChanged();
}

// Leaving a window ends any recording. A window that gets the focus must not hand it on to
// the field at once: only a click may start recording until the next turn of the event loop.
void RecorderControl::attachWindow(QQuickWindow* window)
{
    if (window == m_window && m_windowWatch)
        return;
    endRecording(Focus::keep);
    m_windowWatch.reset();
    m_window = window;
    if (!window)
        return;
    m_windowWatch = std::make_unique<WindowFocusFilter>(window, [this] {
        m_canBecomeKey = false;
        QMetaObject::invokeMethod(
            m_windowWatch.get(), [this] { m_canBecomeKey = true; }, Qt::QueuedConnection);
    });
    connect(window, &QWindow::activeChanged, m_windowWatch.get(), [this, window] {
        if (!window->isActive())
            endRecording();
    });
    connect(window, &QWindow::visibleChanged, m_windowWatch.get(), [this](bool visible) {
        if (!visible)
            endRecording();
    });
}

void RecorderControl::fieldFocusChanged(bool hasFocus)
{
    if (!hasFocus) {
        endRecording(Focus::keep);
        return;
    }
    if (!m_canBecomeKey && !isFocusFromMouse(m_field)) {
        m_field->setFocus(false);
        return;
    }
    startRecording();
}

void RecorderControl::startRecording()
{
    // Without a name there is nothing to record for.
    if (m_session || !m_field || m_name.rawValue().isEmpty())
        return;
    m_session = std::make_unique<RecordingSession>(m_window,
        ApplicationEventMonitor::Handlers{
            [this](const QKeyEvent& event) { return keyPressed(event); },
            [this](QPointF position) { mouseReleased(position); }},
        [this](const Shortcut& shortcut) { hotKeyPressed(shortcut); });
    Q_EMIT recordingChanged();
}

void RecorderControl::endRecording(Focus focus)
{
    if (!m_session)
        return;
    m_session.reset();
    Q_EMIT recordingChanged();
    if (focus == Focus::drop && m_field && m_field->hasActiveFocus())
        m_field->setFocus(false);
}

bool RecorderControl::keyPressed(const QKeyEvent& event)
{
    const auto press = RecorderKeyPress::fromEvent(event);
    if (!press)
        return false;
    const RecorderVerdict verdict = weigh(*press);
    act(verdict, press->shortcut.value_or(Shortcut()));
    return verdict.step != RecorderVerdict::endAndPassOn;
}

void RecorderControl::hotKeyPressed(const Shortcut& shortcut)
{
    const RecorderKeyPress press{shortcut.carbonKeyCode, shortcut.modifiers(), shortcut};
    act(weigh(press), shortcut);
}

// A click on or near the field leaves the recording going; one further away ends it.
void RecorderControl::mouseReleased(QPointF globalPosition)
{
    if (!m_field)
        return;
    const QRectF bounds(m_field->mapToGlobal(QPointF(0, 0)), m_field->size());
    if (!bounds.adjusted(-clickMargin, -clickMargin, clickMargin, clickMargin)
             .contains(globalPosition))
        endRecording();
}

void RecorderControl::act(const RecorderVerdict& verdict, const Shortcut& shortcut)
{
    switch (verdict.step) {
    case RecorderVerdict::endAndPassOn:
        endRecording(Focus::keep);
        return;
    case RecorderVerdict::end:
        endRecording();
        return;
    case RecorderVerdict::clear:
        clear();
        return;
    case RecorderVerdict::beep:
        Bell::ring();
        return;
    case RecorderVerdict::usedByMenuItem:
        alert({verdict.step, shortcut},
            localized("keyboard_shortcut_used_by_menu_item").arg(verdict.menuItemTitle), {}, {});
        return;
    case RecorderVerdict::disallowed:
        alert({verdict.step, shortcut}, localized("keyboard_shortcut_disallowed"), {}, {});
        return;
    case RecorderVerdict::usedBySystem:
        alert({verdict.step, shortcut}, localized("keyboard_shortcut_used_by_system"),
            localized("keyboard_shortcuts_can_be_changed"),
            {localized("ok"), localized("force_use_shortcut")});
        return;
    case RecorderVerdict::accept:
        accept(shortcut);
        return;
    }
}

// Recording ends while the alert is up; the answer gives the field the focus again.
void RecorderControl::alert(const PendingAlert& pending, const QString& title,
    const QString& message, const QStringList& buttons)
{
    endRecording();
    m_pendingAlert = pending;
    const QStringList shown = buttons.isEmpty() ? QStringList{localized("ok")} : buttons;
    if (m_window && m_window->isVisible()
        && isSignalConnected(QMetaMethod::fromSignal(&RecorderControl::alertRequested))) {
        Q_EMIT alertRequested(title, message, shown);
        return;
    }
    answerAlert(runApplicationModalAlert(title, message, shown));
}

void RecorderControl::accept(const Shortcut& shortcut)
{
    setShortcut(shortcut, m_name);
    refreshText();
    announceChange(shortcut);
    endRecording();
}

void RecorderControl::announceChange(const std::optional<Shortcut>& shortcut)
{
    if (m_onChange)
        m_onChange(shortcut);
    Q_EMIT change(toVariant(shortcut));
}

} // namespace KeyboardShortcuts
