import QtQuick
import QtQuick.Layouts
import Vantor

// The apps of a workspace or of the create flow, one row each: icon, name, "Running" when
// asked for and the app runs, and a remove button when the owner lets apps be removed.
Item {
    id: appList

    enum AppIconSize { Medium, Small }

    required property ObjectListModel apps
    readonly property int appCount: apps ? apps.count : 0
    property int iconSize: AppList.AppIconSize.Medium
    property bool displayIsRunning: false
    // Whether each row has a remove button; pressing it emits removeApp.
    property bool canRemoveApps: false

    signal removeApp(AppObject app)

    readonly property int iconSide: iconSize === AppList.AppIconSize.Small ? 24 : 32

    implicitHeight: appCount === 0 ? emptyText.implicitHeight : list.contentHeight

    Text {
        id: emptyText

        objectName: "noAppsText"
        visible: appList.appCount === 0
        width: parent.width
        padding: 12
        wrapMode: Text.Wrap
        text: "You need to select at least one app to include in your workspace."
        color: Theme.secondaryText
        font: Typography.body
    }

    ListView {
        id: list

        objectName: "appRows"
        anchors.fill: parent
        visible: appList.appCount > 0
        model: appList.apps
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: "Apps"

        delegate: RowLayout {
            id: row

            required property AppObject app
            // Empty while the row goes away with its app.
            readonly property string name: app ? app.name : ""

            width: ListView.view.width
            height: appList.iconSide + 8 // qmllint disable unqualified
            spacing: 8
            Accessible.role: Accessible.ListItem
            Accessible.name: name

            AppIcon {
                Layout.preferredWidth: appList.iconSide // qmllint disable unqualified
                Layout.preferredHeight: appList.iconSide // qmllint disable unqualified
                path: row.app ? row.app.path : ""
                radius: 6
            }
            Text {
                Layout.fillWidth: true
                text: row.name
                elide: Text.ElideRight
                color: Theme.text
                font: Typography.body
            }
            Text {
                visible: appList.displayIsRunning && row.app !== null && row.app.isRunning // qmllint disable unqualified
                text: "Running"
                color: Theme.green
                font: Typography.caption
            }
            MainButton {
                objectName: "removeApp"
                visible: appList.canRemoveApps // qmllint disable unqualified
                title: ""
                iconLeft: "xmark.circle.fill"
                type: MainButtonType.Secondary
                size: MainButtonSize.Small
                Accessible.name: "Remove " + row.name
                onAction: appList.removeApp(row.app) // qmllint disable unqualified
            }
        }
    }
}
