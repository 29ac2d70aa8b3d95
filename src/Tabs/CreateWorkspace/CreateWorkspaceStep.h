#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <cstddef>
#include <functional>

class CreateWorkspaceViewModel;

Q_MOC_INCLUDE("Tabs/CreateWorkspace/CreateWorkspaceViewModel.h")

// What the step container needs to show one step: the step screen's QML component and the
// model that every step screen shares.
struct CreateWorkspaceStepContent {
    Q_GADGET
    QML_VALUE_TYPE(createWorkspaceStepContent)
    Q_PROPERTY(QString componentName MEMBER componentName)
    Q_PROPERTY(QUrl source MEMBER source)
    Q_PROPERTY(CreateWorkspaceViewModel* viewModel MEMBER viewModel)

public:
    QString componentName; // "SetupStep", "LaunchAppsStep", "PositionAppsStep"
    QUrl source; // the component's file among Vantor's screens
    CreateWorkspaceViewModel* viewModel = nullptr;

    friend bool operator==(const CreateWorkspaceStepContent&, const CreateWorkspaceStepContent&)
        = default;
};

// The steps of the create flow, in order. A value converts to and from its Value, so it
// compares, switches and hashes like the plain enum.
class CreateWorkspaceStep {
    Q_GADGET

public:
    // QML reads enum keys only when they start with a capital letter, hence the aliases.
    enum Value {
        setup,
        launchApps,
        positionApps,
        Setup = setup,
        LaunchApps = launchApps,
        PositionApps = positionApps,
    };
    Q_ENUM(Value)

    constexpr CreateWorkspaceStep(Value value = setup) noexcept : m_value(value) { }
    constexpr operator Value() const noexcept { return m_value; }

    // The step's screen, built on `viewModel`.
    CreateWorkspaceStepContent getContent(CreateWorkspaceViewModel* viewModel) const;

private:
    Value m_value;
};

// QML sees the steps as CreateWorkspaceStep.Setup, .LaunchApps and .PositionApps.
namespace CreateWorkspaceStepForQml {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(CreateWorkspaceStep)
QML_NAMED_ELEMENT(CreateWorkspaceStep)
} // namespace CreateWorkspaceStepForQml

template <> struct std::hash<CreateWorkspaceStep> {
    std::size_t operator()(CreateWorkspaceStep step) const noexcept
    {
        return std::hash<int>()(static_cast<int>(CreateWorkspaceStep::Value(step)));
    }
};
