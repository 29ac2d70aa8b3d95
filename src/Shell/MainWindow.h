#pragma once

#include <QObject>
#include <QPointer>
#include <QWindow>

#include <memory>

class QQmlApplicationEngine;

// The main window: made when it is shown and dropped when it is closed, so an idle Vantor
// in the tray keeps no scene in memory.
class MainWindow final : public QObject {
    Q_OBJECT

public:
    explicit MainWindow(QObject* parent = nullptr);
    ~MainWindow() override;

    // Shows the window (making it if needed), raises it and gives it the focus.
    void showAndActivate();
    bool isVisible() const;
    QWindow* window() const { return m_window; }

Q_SIGNALS:
    void shown();
    void closed();

private:
    void create();
    void release();

    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QWindow> m_window;
};
