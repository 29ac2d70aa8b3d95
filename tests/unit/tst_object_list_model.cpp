// The list model the screens show (workspaces, apps): rows change one by one, and the
// model keeps Qt's rules for every change.
#include "Tabs/Components/ObjectListModel.h"

#include "TestMain.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <array>
#include <memory>

namespace {

// An object that can say it changed, as WorkspaceObject does.
class Item final : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

Q_SIGNALS:
    void changed();
};

} // namespace

class ObjectListModelTest final : public QObject {
    Q_OBJECT

    std::array<Item, 5> m_items;
    std::unique_ptr<ObjectListModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

    QList<QObject*> items(std::initializer_list<int> indexes)
    {
        QList<QObject*> list;
        for (const int index : indexes)
            list.append(&m_items.at(index));
        return list;
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_model = std::make_unique<ObjectListModel>("item", SIGNAL(changed()));
        m_tester = std::make_unique<QAbstractItemModelTester>(
            m_model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    }

    void cleanup()
    {
        m_tester.reset();
        m_model.reset();
    }

    void rowsHoldTheObjectsUnderTheOwnersRoleName()
    {
        m_model->setObjects(items({0, 1, 2}));
        QCOMPARE(m_model->rowCount(), 3);
        QCOMPARE(m_model->roleNames().value(Qt::UserRole), QByteArray("item"));
        QCOMPARE(m_model->data(m_model->index(1), Qt::UserRole).value<QObject*>(), &m_items[1]);
        QVERIFY(!m_model->data(m_model->index(1), Qt::DisplayRole).isValid());
        QCOMPARE(m_model->at(2), &m_items[2]);
        QCOMPARE(m_model->at(3), nullptr);
        QCOMPARE(m_model->at(-1), nullptr);
    }

    void aNewObjectIsOneInsertedRowAndTheOthersStay()
    {
        m_model->setObjects(items({0, 2}));
        QSignalSpy inserted(m_model.get(), &QAbstractItemModel::rowsInserted);
        QSignalSpy reset(m_model.get(), &QAbstractItemModel::modelReset);
        QSignalSpy removed(m_model.get(), &QAbstractItemModel::rowsRemoved);
        m_model->setObjects(items({0, 1, 2}));
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.at(0).at(1).toInt(), 1);
        QCOMPARE(removed.count(), 0);
        QCOMPARE(reset.count(), 0);
        QCOMPARE(m_model->objects(), items({0, 1, 2}));
    }

    void aRemovedObjectIsOneRemovedRow()
    {
        m_model->setObjects(items({0, 1, 2, 3}));
        QSignalSpy removed(m_model.get(), &QAbstractItemModel::rowsRemoved);
        QSignalSpy inserted(m_model.get(), &QAbstractItemModel::rowsInserted);
        m_model->setObjects(items({0, 2, 3}));
        QCOMPARE(removed.count(), 1);
        QCOMPARE(inserted.count(), 0);
        QCOMPARE(m_model->objects(), items({0, 2, 3}));
    }

    void aNewOrderMovesRowsWithoutRemovingThem()
    {
        m_model->setObjects(items({0, 1, 2, 3}));
        QSignalSpy moved(m_model.get(), &QAbstractItemModel::rowsMoved);
        QSignalSpy removed(m_model.get(), &QAbstractItemModel::rowsRemoved);
        m_model->setObjects(items({3, 0, 1, 2}));
        QCOMPARE(moved.count(), 1);
        QCOMPARE(removed.count(), 0);
        QCOMPARE(m_model->objects(), items({3, 0, 1, 2}));
        m_model->setObjects(items({2, 1, 0}));
        QCOMPARE(m_model->objects(), items({2, 1, 0}));
    }

    void theCountIsNotifiedOnlyWhenItChanges()
    {
        QSignalSpy count(m_model.get(), &ObjectListModel::countChanged);
        m_model->setObjects(items({0, 1}));
        QCOMPARE(count.count(), 1);
        m_model->setObjects(items({1, 0}));
        QCOMPARE(count.count(), 1);
        m_model->setObjects({});
        QCOMPARE(count.count(), 2);
        QCOMPARE(m_model->count(), 0);
    }

    void anObjectThatChangesChangesOnlyItsRow()
    {
        m_model->setObjects(items({0, 1, 2}));
        QSignalSpy changed(m_model.get(), &QAbstractItemModel::dataChanged);
        Q_EMIT m_items[1].changed();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).toModelIndex().row(), 1);
        QCOMPARE(changed.at(0).at(1).toModelIndex().row(), 1);
    }

    void anObjectNoLongerListedIsNoLongerFollowed()
    {
        m_model->setObjects(items({0, 1}));
        m_model->setObjects(items({0}));
        QSignalSpy changed(m_model.get(), &QAbstractItemModel::dataChanged);
        Q_EMIT m_items[1].changed();
        QCOMPARE(changed.count(), 0);
    }
};

VANTOR_UNIT_TEST_MAIN(ObjectListModelTest)
#include "tst_object_list_model.moc"
