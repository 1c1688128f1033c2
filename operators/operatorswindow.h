#pragma once

#include "operators/catalogue.h"

#include <QWidget>

#include <memory>

class OfferModel;
class OperatorListModel;

namespace Ui {
class OperatorsWindow;
}

/// "Tolvane Mobile Operators": operators of any country are chosen, own ones
/// typed, and the list is stored for the main window.
class OperatorsWindow : public QWidget
{
    Q_OBJECT

public:
    /// `fileName` is the file of the world's providers. `ownCountry`, a code, is
    /// the country that is shown first.
    OperatorsWindow(const QString &fileName, const QString &ownCountry, QWidget *parent = nullptr);
    ~OperatorsWindow() override;

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void connectControls();
    void fillCountries();
    void setColumns();

    void showCountry(int country);
    void search(const QString &words);
    void showOffers(const QVector<int> &places, bool isSearch);
    void showNote();
    void showList();
    void selectInList(const QString &name);

    void toggleOffer();
    void addEntry();
    void editEntry();
    void removeEntries();
    bool save();
    void useBuiltInList();
    void escape();

    /// The rows that are selected in the list, as names.
    QStringList selectedNames() const;
    /// "" or that the chosen operator would not be in the list.
    static QString vanishingText(const QVariantMap &list);
    /// Shows a box with Ok, named `action`, and Cancel. Whether Ok was pressed.
    bool confirm(const QString &text, const QString &action);
    void tellFailure(const QString &text);

    std::unique_ptr<Ui::OperatorsWindow> ui;
    Catalogue m_catalogue;
    OperatorListModel *m_list;
    OfferModel *m_offers;
    int m_country = 0;
    bool m_isJustSaved = false;
};
