#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class AboutDialog;
}

/// The product's name and the maker's notice. Modeless; every request makes a
/// new one, which its parent owns and closing does not delete.
class AboutDialog : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget *parent = nullptr);
    ~AboutDialog() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    std::unique_ptr<Ui::AboutDialog> ui;
};
