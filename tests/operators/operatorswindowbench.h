#pragma once

#include "operators/operatorswindow.h"
#include "tests/operators/providersample.h"
#include "tests/support/testsettings.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <functional>
#include <memory>

/// The window with the sample's operators and settings of its own, and what a person
/// does in it.
class OperatorsWindowBench : public QObject
{
protected:
    void begin()
    {
        m_store = std::make_unique<TestSettings>();
        TestSettings::write(m_folder.filePath("providers.xml"), sampleXml);
    }
    void open(const QString &country = "de", const QString &file = {})
    {
        m_window = std::make_unique<OperatorsWindow>(
            file.isEmpty() ? m_folder.filePath("providers.xml") : file, country);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }
    template<typename Widget> Widget *part(const char *name) const
    {
        return m_window->findChild<Widget *>(name);
    }
    QPushButton *button(const char *name) const { return part<QPushButton>(name); }
    QString label(const char *name) const { return part<QLabel>(name)->text(); }
    /// The first column of a view; names with a check mark begin with "*".
    QStringList rows(const char *view) const
    {
        const QAbstractItemModel *model = part<QAbstractItemView>(view)->model();
        QStringList texts;
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            texts.append((index.data(Qt::CheckStateRole).toInt() == Qt::Checked ? "*" : "") +
                         index.data().toString());
        }
        return texts;
    }
    void choose(int row) const
    {
        auto *view = part<QTreeView>("offerView");
        view->setCurrentIndex(view->model()->index(row, 0));
        QTest::keyClick(view, Qt::Key_Space);
    }
    /// Does something that opens a dialog, and answers it.
    static void answering(const std::function<void()> &doIt,
                          const std::function<void(QDialog *)> &answer)
    {
        bool hasAnswered = false;
        QTimer::singleShot(0, qApp, [&] {
            if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget())) {
                hasAnswered = true;
                answer(dialog);
            }
        });
        doIt();
        QCoreApplication::processEvents();
        QVERIFY(hasAnswered);
    }
    static void press(QDialog *box, QMessageBox::StandardButton button)
    {
        static_cast<QMessageBox *>(box)->button(button)->click();
    }
    static void type(QDialog *dialog, const QString &name, const QString &apn)
    {
        dialog->findChild<QLineEdit *>("nameEdit")->setText(name);
        dialog->findChild<QLineEdit *>("apnEdit")->setText(apn);
    }

    QTemporaryDir m_folder;
    std::unique_ptr<TestSettings> m_store;
    std::unique_ptr<OperatorsWindow> m_window;
};
