#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

// Turns SIGTERM and SIGINT into a Qt signal on the main thread (self-pipe), so Vantor can
// quit through its event loop and release its grabs and files cleanly.
class UnixSignalWatcher final : public QObject {
    Q_OBJECT

public:
    explicit UnixSignalWatcher(QObject* parent = nullptr);
    ~UnixSignalWatcher() override;

Q_SIGNALS:
    void terminationRequested(int signalNumber);

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};
