#include "Platform/InstalledAppChooser.h"

#include "Util/Logging.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QVBoxLayout>

namespace Platform {
namespace {

QIcon iconNamed(const QStringList& names)
{
    for (const QString& name : names) {
        if (QFileInfo(name).isAbsolute())
            return QIcon(name);
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    }
    return QIcon::fromTheme(QStringLiteral("application-x-executable"));
}

} // namespace

InstalledApplicationsModel::InstalledApplicationsModel(
    QList<InstalledApplication> applications, QObject* parent)
    : QAbstractListModel(parent), m_applications(std::move(applications))
{
}

int InstalledApplicationsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_applications.size());
}

QVariant InstalledApplicationsModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const InstalledApplication& application = m_applications.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return application.name;
    case Qt::DecorationRole:
        return iconOf(index.row());
    case PathRole:
        return application.path;
    default:
        return {};
    }
}

QIcon InstalledApplicationsModel::iconOf(int row) const
{
    auto cached = m_icons.constFind(row);
    if (cached == m_icons.cend())
        cached = m_icons.insert(row, iconNamed(m_applications.at(row).icon));
    return *cached;
}

AppChooserDialog::AppChooserDialog(
    QList<InstalledApplication> applications, Browse browse, QWidget* parent)
    : QDialog(parent),
      m_browse(std::move(browse)),
      m_model(std::move(applications)),
      m_filtered(new QSortFilterProxyModel(this)),
      m_search(new QLineEdit(this)),
      m_list(new QListView(this)),
      m_browseError(new QLabel(this)),
      m_continue(new QPushButton(QStringLiteral("Continue"), this))
{
    setWindowTitle(QStringLiteral("Select an Application"));
    resize(420, 480);

    m_filtered->setSourceModel(&m_model);
    m_filtered->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_search->setObjectName(QStringLiteral("search"));
    m_search->setPlaceholderText(QStringLiteral("Search"));
    m_search->setClearButtonEnabled(true);
    m_list->setObjectName(QStringLiteral("applications"));
    m_list->setModel(m_filtered);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setUniformItemSizes(true);
    m_list->setIconSize(QSize(24, 24));
    m_browseError->setObjectName(QStringLiteral("browseError"));
    m_browseError->setWordWrap(true);
    m_browseError->setStyleSheet(QStringLiteral("color: #c4261d"));
    m_browseError->hide();

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* browseButton
        = buttons->addButton(QStringLiteral("Browse…"), QDialogButtonBox::ActionRole);
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    buttons->addButton(m_continue, QDialogButtonBox::AcceptRole);
    m_continue->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_search);
    layout->addWidget(m_list);
    layout->addWidget(m_browseError);
    layout->addWidget(buttons);

    connect(m_search, &QLineEdit::textChanged, this, &AppChooserDialog::filter);
    connect(m_list, &QListView::activated, this, &AppChooserDialog::continueWithSelection);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
        [this] { m_continue->setEnabled(!selectedPath().isEmpty()); });
    connect(buttons, &QDialogButtonBox::accepted, this, &AppChooserDialog::continueWithSelection);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(browseButton, &QPushButton::clicked, this, &AppChooserDialog::browse);

    m_search->setFocus();
    selectFirstRow();
}

void AppChooserDialog::filter(const QString& text)
{
    m_filtered->setFilterFixedString(text);
    selectFirstRow();
}

// What the user typed picks the first match, so that Return takes it.
void AppChooserDialog::selectFirstRow()
{
    const QModelIndex first = m_filtered->index(0, 0);
    if (first.isValid())
        m_list->setCurrentIndex(first);
    else
        m_list->clearSelection();
    m_continue->setEnabled(first.isValid());
}

QString AppChooserDialog::selectedPath() const
{
    const QModelIndexList selected = m_list->selectionModel()->selectedIndexes();
    return selected.isEmpty()
        ? QString()
        : selected.first().data(InstalledApplicationsModel::PathRole).toString();
}

void AppChooserDialog::continueWithSelection()
{
    const QString path = selectedPath();
    if (path.isEmpty())
        return;
    m_chosenPath = path;
    accept();
}

void AppChooserDialog::browse()
{
    const std::optional<QString> path = m_browse ? m_browse() : std::nullopt;
    if (!path)
        return;
    if (!desktopEntryName(*path)) {
        qCInfo(lcApps) << "Not an application entry:" << *path;
        m_browseError->setText(
            QStringLiteral("“%1” cannot be added: it is not a readable application entry.")
                .arg(QFileInfo(*path).fileName()));
        m_browseError->show();
        return;
    }
    m_chosenPath = *path;
    accept();
}

std::optional<QUrl> InstalledAppChooser::chooseApplication()
{
    AppChooserDialog dialog(installedApplications(), []() -> std::optional<QString> {
        const std::optional<QUrl> url = FileDialogAppChooser().chooseApplication();
        return url ? std::optional<QString>(url->toLocalFile()) : std::nullopt;
    });
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return QUrl::fromLocalFile(dialog.chosenPath());
}

} // namespace Platform
