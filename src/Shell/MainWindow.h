#pragma once

#include <QObject>
#include <QPointer>
#include <QWindow>

#include <memory>

class ContentViewModel;
class ModelContext;
class QQmlApplicationEngine;
class Services;

// The main window: made when it is shown and dropped when it is closed, so an idle Vantor
// in the tray keeps no scene in memory. Each showing gets fresh content on `context`.
class MainWindow final : public QObject {
    Q_OBJECT

public:
    MainWindow(ModelContext& context, const Services& services, QObject* parent = nullptr);
    ~MainWindow() override;

    // Shows the window (making it if needed), raises it and gives it the focus.
    void showAndActivate();
    bool isVisible() const;
    QWindow* window() const { return m_window; }
    ContentViewModel* content() const { return m_content.get(); }

Q_SIGNALS:
    // The window became visible: its content was shown.
    void shown();
    void closed();

private:
    void create();
    void release();

    ModelContext& m_context;
    const Services& m_services;
    std::unique_ptr<ContentViewModel> m_content;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QWindow> m_window;
};
