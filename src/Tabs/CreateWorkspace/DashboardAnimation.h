#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <chrono>
#include <memory>

class CreateWorkspaceViewModel;
class Scheduler;

Q_MOC_INCLUDE("Tabs/CreateWorkspace/CreateWorkspaceViewModel.h")

// The illustration of the launch step coming to life: the empty dashboard, then, after a
// pause, one frame after another until the apps stand unorganized on it. It plays once
// per start() and ends with the object or stop(), leaving no wait behind. Time comes from
// the create flow's scheduler.
class DashboardAnimation : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(CreateWorkspaceViewModel* viewModel READ viewModel WRITE setViewModel NOTIFY
            viewModelChanged)
    // The illustration to show now.
    Q_PROPERTY(QString imageName READ imageName NOTIFY imageNameChanged)

public:
    static constexpr std::chrono::milliseconds pause{1500};
    static constexpr std::chrono::milliseconds frameDuration{150};
    // Shown in order, each for frameDuration after the pause; the first is also the still
    // before it.
    static const QStringList frames;

    explicit DashboardAnimation(QObject* parent = nullptr);
    ~DashboardAnimation() override;

    CreateWorkspaceViewModel* viewModel() const { return m_viewModel; }
    void setViewModel(CreateWorkspaceViewModel* viewModel);
    QString imageName() const { return m_imageName; }

    // Plays the sequence from its first frame, dropping a run in progress.
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

Q_SIGNALS:
    void viewModelChanged();
    void imageNameChanged();

private:
    void setImageName(const QString& imageName);
    void showFrameAfter(std::chrono::milliseconds delay);
    void showNextFrame();
    std::shared_ptr<Scheduler> scheduler() const;

    QPointer<CreateWorkspaceViewModel> m_viewModel;
    QString m_imageName;
    qsizetype m_nextFrame = 0;
    // The waits of the run in progress end with it.
    std::unique_ptr<QObject> m_playing;
};
