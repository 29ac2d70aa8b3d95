#pragma once

#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/NotificationCenter.h"
#include "KeyboardShortcuts/RecorderInput.h"
#include "KeyboardShortcuts/RecordingSession.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStringList>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>
#include <optional>

namespace KeyboardShortcuts {

class WindowFocusFilter;

// The logic of the shortcut recorder, the search-field-like box in which the user records the
// global shortcut of one name. It drives a text field given as `field`: it shows the stored
// shortcut, starts recording when the field gets keyboard focus, takes the next key
// combination, refuses those that cannot or should not be used (a beep, or an alert that the
// view shows), and stores the accepted one.
class RecorderControl : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(
        QString shortcutName READ shortcutName WRITE setShortcutName NOTIFY shortcutNameChanged)
    Q_PROPERTY(QQuickItem* field READ field WRITE setField NOTIFY fieldChanged)
    Q_PROPERTY(QString text READ text NOTIFY textChanged)
    Q_PROPERTY(bool cancelButtonVisible READ cancelButtonVisible NOTIFY textChanged)
    Q_PROPERTY(bool recording READ isRecording NOTIFY recordingChanged)
    Q_PROPERTY(QString placeholderText READ placeholderText NOTIFY recordingChanged)
    Q_PROPERTY(bool caretVisible READ caretVisible NOTIFY recordingChanged)
    Q_PROPERTY(int minimumWidth READ minimumWidth CONSTANT)

public:
    using OnChange = std::function<void(const std::optional<Shortcut>& shortcut)>;

    explicit RecorderControl(QObject* parent = nullptr);
    ~RecorderControl() override;

    QString shortcutName() const { return m_name.rawValue(); }
    void setShortcutName(const QString& name);
    QQuickItem* field() const { return m_field; }
    void setField(QQuickItem* field);
    QString text() const { return m_text; }
    bool cancelButtonVisible() const { return !m_text.isEmpty(); }
    bool isRecording() const { return m_session != nullptr; }
    QString placeholderText() const;
    bool caretVisible() const { return !isRecording(); }
    static constexpr int minimumWidth() { return 130; }

    // Called with every shortcut stored or cleared here, besides the change() signal.
    void setOnChange(OnChange onChange) { m_onChange = std::move(onChange); }

    // The field's cancel button: the shortcut is cleared.
    Q_INVOKABLE void clear();
    // The answer to the last alertRequested(): the index of the chosen button.
    Q_INVOKABLE void answerAlert(int button);

Q_SIGNALS:
    void shortcutNameChanged();
    void fieldChanged();
    void textChanged();
    void recordingChanged();
    // A shortcut stored ({"carbonKeyCode", "carbonModifiers"}) or cleared (null).
    void change(const QVariant& shortcut);
    // The view shows a modal alert on the field's window and answers with answerAlert().
    void alertRequested(const QString& title, const QString& message, const QStringList& buttons);

private:
    enum class Focus { keep, drop };
    struct PendingAlert {
        RecorderVerdict::Step step;
        Shortcut shortcut;
    };

    void refreshText();
    void attachWindow(QQuickWindow* window);
    void fieldFocusChanged(bool hasFocus);
    void startRecording();
    void endRecording(Focus focus = Focus::drop);
    bool keyPressed(const QKeyEvent& event);
    void hotKeyPressed(const Shortcut& shortcut);
    void mouseReleased(QPointF globalPosition);
    void act(const RecorderVerdict& verdict, const Shortcut& shortcut);
    void alert(const PendingAlert& pending, const QString& title, const QString& message,
        const QStringList& buttons);
    void accept(const Shortcut& shortcut);
    void announceChange(const std::optional<Shortcut>& shortcut);

    Name m_name;
    QString m_text;
    QPointer<QQuickItem> m_field;
    QPointer<QQuickWindow> m_window;
    // Watches the field's window; replaced with the window.
    std::unique_ptr<WindowFocusFilter> m_windowWatch;
    std::unique_ptr<RecordingSession> m_session;
    std::optional<PendingAlert> m_pendingAlert;
    bool m_canBecomeKey = true;
    OnChange m_onChange;
    ObserverToken m_shortcutObserver;
};

} // namespace KeyboardShortcuts
