#pragma once

#include <QDialog>
#include <QStringList>

#include <memory>

namespace Ui {
class EntryDialog;
}

/// Asks for an operator's name and access point, and says what is wrong with
/// them while they are typed.
class EntryDialog : public QDialog
{
    Q_OBJECT

public:
    /// `taken` are the names of the other operators in the list.
    EntryDialog(const QString &name, const QString &apn, const QStringList &taken, QWidget *parent);
    ~EntryDialog() override;

    QString name() const;
    QString apn() const;

private:
    void check();

    std::unique_ptr<Ui::EntryDialog> ui;
    QStringList m_taken;
};
