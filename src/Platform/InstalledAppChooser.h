#pragma once

#include "Platform/AppChooser.h"
#include "Platform/Applications.h"

#include <QAbstractListModel>
#include <QDialog>
#include <QHash>
#include <QIcon>

#include <functional>
#include <optional>

class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QSortFilterProxyModel;

namespace Platform {

// Installed applications as list rows: the name, the icon (looked up when a row is first
// shown) and, under PathRole, the desktop entry's path.
class InstalledApplicationsModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { PathRole = Qt::UserRole + 1 };

    explicit InstalledApplicationsModel(
        QList<InstalledApplication> applications, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    QIcon iconOf(int row) const;

    QList<InstalledApplication> m_applications;
    mutable QHash<int, QIcon> m_icons;
};

// "Select an Application": the installed applications, narrowed to those whose name holds
// what the user types; "Browse…" for an entry file elsewhere, refused with the reason when
// it is no usable application entry; "Cancel", and "Continue" with the selected one.
class AppChooserDialog final : public QDialog {
    Q_OBJECT

public:
    // Asks for an entry file elsewhere; nothing when the user gave up.
    using Browse = std::function<std::optional<QString>()>;

    AppChooserDialog(
        QList<InstalledApplication> applications, Browse browse, QWidget* parent = nullptr);

    // The chosen entry's path, once the dialog was accepted.
    QString chosenPath() const { return m_chosenPath; }

private:
    void filter(const QString& text);
    void selectFirstRow();
    void continueWithSelection();
    void browse();
    QString selectedPath() const;

    Browse m_browse;
    InstalledApplicationsModel m_model;
    QSortFilterProxyModel* m_filtered;
    QLineEdit* m_search;
    QListView* m_list;
    QLabel* m_browseError;
    QPushButton* m_continue;
    QString m_chosenPath;
};

// Offers the installed applications in an AppChooserDialog, with a file dialog to browse.
class InstalledAppChooser final : public AppChooser {
public:
    std::optional<QUrl> chooseApplication() override;
};

} // namespace Platform
