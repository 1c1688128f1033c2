#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class CreditDialog;
}

/// Who developed the program. The invisible button in the top right corner
/// lists the developers from its tenth click on. Modeless; every request makes
/// a new one, which its parent owns and closing does not delete.
class CreditDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CreditDialog(QWidget *parent = nullptr);
    ~CreditDialog() override;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    /// Erases the whole settings store.
    void on_pushButton_2_clicked();
    void on_pushButton_clicked();

private:
    std::unique_ptr<Ui::CreditDialog> ui;
    int m_clicks = 0; ///< on the invisible button; never reset
};
