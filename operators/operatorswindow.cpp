#include "operators/operatorswindow.h"

#include "operators/entrydialog.h"
#include "operators/offermodel.h"
#include "operators/operatorlistmodel.h"
#include "operators/operatorstore.h"
#include "ui_operatorswindow.h"

#include <QCloseEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QSignalBlocker>
#include <QTreeView>

#include <algorithm>
#include <initializer_list>

namespace {

/// Lines of the note below the offers; the sentence about passwords takes them.
constexpr int NoteLines = 3;

bool isKey(const QEvent *event, std::initializer_list<int> keys)
{
    return event->type() == QEvent::KeyPress &&
           std::find(keys.begin(), keys.end(), static_cast<const QKeyEvent *>(event)->key()) !=
               keys.end();
}

} // namespace

OperatorsWindow::OperatorsWindow(const QString &fileName, const QString &ownCountry,
                                 QWidget *parent)
    : QWidget(parent),
      ui(std::make_unique<Ui::OperatorsWindow>()),
      m_catalogue(readProvidersFile(fileName), ownCountry),
      m_list(new OperatorListModel(this)),
      m_offers(new OfferModel(m_catalogue, m_list, this))
{
    ui->setupUi(this);
    ui->problemLabel->setText(m_catalogue.problem());
    ui->problemLabel->setVisible(!m_catalogue.problem().isEmpty());
    // So that the rows above do not move with each note.
    ui->noteLabel->setText(QString(NoteLines - 1, '\n'));
    ui->noteLabel->setMinimumHeight(ui->noteLabel->heightForWidth(width()));
    ui->noteLabel->setAlignment(Qt::AlignTop);
    ui->offerView->setModel(m_offers);
    ui->listView->setModel(m_list);
    m_list->begin(storedList(Scope::User));
    fillCountries();
    connectControls();
    search({});
    showList();
}

OperatorsWindow::~OperatorsWindow() = default;

void OperatorsWindow::fillCountries()
{
    for (const CatalogueCountry &country : m_catalogue.countries())
        ui->countryList->addItem(country.name);
}

/// So that each column has its share, however narrow the window is.
void OperatorsWindow::setColumns()
{
    const bool isSearch = !ui->offerView->isColumnHidden(OfferModel::CountryName);
    const int width = ui->offerView->viewport()->width();
    const auto setShare = [&](OfferModel::Column column, int percent) {
        ui->offerView->setColumnWidth(column, width * percent / 100);
    };
    setShare(OfferModel::Name, isSearch ? 34 : 40);
    setShare(OfferModel::CountryName, 18);
    setShare(OfferModel::Apn, isSearch ? 24 : 30);
    ui->listView->setColumnWidth(OperatorListModel::Name,
                                 ui->listView->viewport()->width() * 3 / 5);
}

void OperatorsWindow::connectControls()
{
    connect(ui->countryList, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0)
            showCountry(row);
    });
    connect(ui->searchEdit, &QLineEdit::textChanged, this, &OperatorsWindow::search);
    connect(ui->offerView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &OperatorsWindow::showNote);
    connect(ui->offerView, &QTreeView::activated, this, &OperatorsWindow::toggleOffer);
    connect(m_offers, &OfferModel::toggled, this, &OperatorsWindow::selectInList);
    connect(m_list, &OperatorListModel::changed, this, &OperatorsWindow::showList);
    connect(ui->listView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { showList(); });
    connect(ui->listView, &QTreeView::activated, this, &OperatorsWindow::editEntry);
    connect(ui->addButton, &QPushButton::clicked, this, &OperatorsWindow::addEntry);
    connect(ui->editButton, &QPushButton::clicked, this, &OperatorsWindow::editEntry);
    connect(ui->removeButton, &QPushButton::clicked, this, &OperatorsWindow::removeEntries);
    connect(ui->builtInButton, &QPushButton::clicked, this, &OperatorsWindow::useBuiltInList);
    connect(ui->saveButton, &QPushButton::clicked, this, &OperatorsWindow::save);
    connect(ui->closeButton, &QPushButton::clicked, this, &OperatorsWindow::close);
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this,
            &OperatorsWindow::escape);
    ui->searchEdit->installEventFilter(this);
    ui->offerView->installEventFilter(this);
    ui->offerView->viewport()->installEventFilter(this);
    ui->listView->installEventFilter(this);
}

void OperatorsWindow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::LanguageChange)
        return;
    ui->retranslateUi(this);
    showNote();
    showList();
}

bool OperatorsWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == ui->searchEdit && isKey(event, {Qt::Key_Down, Qt::Key_Return, Qt::Key_Enter})) {
        ui->offerView->setFocus(Qt::OtherFocusReason);
        return true;
    }
    // Of itself the view takes the key only in the column with the marks.
    if (watched == ui->offerView && isKey(event, {Qt::Key_Space})) {
        toggleOffer();
        return true;
    }
    if (watched == ui->listView && isKey(event, {Qt::Key_Delete})) {
        removeEntries();
        return true;
    }
    // A scroll bar that appears takes of it, too.
    if (watched == ui->offerView->viewport() && event->type() == QEvent::Resize)
        setColumns();
    return QWidget::eventFilter(watched, event);
}

void OperatorsWindow::escape()
{
    if (ui->searchEdit->text().isEmpty())
        close();
    else
        ui->searchEdit->clear();
}

void OperatorsWindow::showCountry(int country)
{
    m_country = country;
    {
        const QSignalBlocker blocker(ui->searchEdit);
        ui->searchEdit->clear();
    }
    showOffers(m_catalogue.countries().at(country).offers, false);
}

void OperatorsWindow::search(const QString &words)
{
    if (words.trimmed().isEmpty()) {
        ui->countryList->setCurrentRow(m_country);
        // There may be no country.
        showOffers(m_catalogue.countries().value(m_country).offers, false);
        return;
    }
    {
        const QSignalBlocker blocker(ui->countryList);
        ui->countryList->setCurrentRow(-1);
    }
    showOffers(m_catalogue.find(words), true);
}

void OperatorsWindow::showOffers(const QVector<int> &places, bool isSearch)
{
    m_offers->show(places);
    ui->offerView->setColumnHidden(OfferModel::CountryName, !isSearch);
    setColumns();
    ui->offerView->setCurrentIndex(m_offers->index(0, OfferModel::Name));
    showNote();
}

void OperatorsWindow::showNote()
{
    const QModelIndex current = ui->offerView->currentIndex();
    QString text;
    if (current.isValid()) {
        const Offer &offer = m_offers->offerAt(current.row());
        const int leftOut = m_catalogue.countries().at(offer.country).leftOut;
        text = offer.name + ": " + offer.apn;
        if (!offer.note.isEmpty())
            text += ". " + offer.note;
        else if (leftOut > 0)
            text += "\n" + leftOutText(leftOut);
    } else if (!ui->searchEdit->text().isEmpty()) {
        text = tr("Nothing was found. With Add, below, you can type your operator's name and "
                  "access point; the operator tells you the access point.");
    }
    ui->noteLabel->setText(text);
}

void OperatorsWindow::showList()
{
    const int selected = static_cast<int>(selectedNames().size());
    ui->editButton->setEnabled(m_list->isOwn() && selected == 1);
    ui->removeButton->setEnabled(m_list->isOwn() && selected > 0);
    ui->saveButton->setEnabled(m_list->isChanged() && !m_list->own().isEmpty());
    ui->builtInButton->setEnabled(m_list->isOwn());
    if (m_list->isChanged())
        m_isJustSaved = false;

    QString text;
    if (m_isJustSaved)
        text = tr("Saved. If Tolvane Modem Connector is open, close it and start it again.");
    else if (!m_list->isOwn() && m_list->origin() == Origin::Preset)
        text = tr("A list that was preset for this computer is in use. What you choose or add "
                  "takes its place.");
    else if (!m_list->isOwn())
        text = tr("The built-in list is in use. What you choose or add takes its place.");
    else if (m_list->own().isEmpty())
        text = tr("The list is empty. Choose an operator, or use the built-in list.");
    else if (m_list->isChanged())
        text = tr("Not saved yet.");
    ui->stateLabel->setText(text);
}

void OperatorsWindow::selectInList(const QString &name)
{
    const int row = m_list->rowOf(name);
    if (row >= 0)
        ui->listView->setCurrentIndex(m_list->index(row, OperatorListModel::Name));
}

QStringList OperatorsWindow::selectedNames() const
{
    QStringList names;
    for (const QModelIndex &index : ui->listView->selectionModel()->selectedRows())
        names.append(m_list->nameAt(index.row()));
    return names;
}

void OperatorsWindow::toggleOffer()
{
    const QModelIndex current = ui->offerView->currentIndex();
    if (current.isValid())
        m_offers->toggle(current.row());
}

void OperatorsWindow::addEntry()
{
    EntryDialog dialog({}, {}, m_list->own().keys(), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_list->put({}, dialog.name(), dialog.apn());
    selectInList(dialog.name());
}

void OperatorsWindow::editEntry()
{
    const QStringList selected = selectedNames();
    if (!m_list->isOwn() || selected.size() != 1)
        return;
    const QString &name = selected.first();
    QStringList others = m_list->own().keys();
    others.removeAll(name);
    EntryDialog dialog(name, m_list->own().value(name).toString(), others, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_list->put(name, dialog.name(), dialog.apn());
    selectInList(dialog.name());
}

void OperatorsWindow::removeEntries()
{
    const QStringList names = selectedNames();
    if (!m_list->isOwn() || names.isEmpty())
        return;
    const int row = m_list->rowOf(names.first());
    m_list->remove(names);
    // The next one is selected, so that the key can be pressed again.
    const int next = qMin(row, m_list->rowCount() - 1);
    if (m_list->isOwn() && next >= 0)
        ui->listView->setCurrentIndex(m_list->index(next, OperatorListModel::Name));
}

bool OperatorsWindow::save()
{
    const QString vanishing = vanishingText(m_list->own());
    if (!vanishing.isEmpty() && !confirm(vanishing, tr("Save")))
        return false;
    const QString problem = storeList(Scope::User, m_list->own());
    if (!problem.isEmpty()) {
        tellFailure(problem);
        return false;
    }
    m_isJustSaved = true;
    m_list->begin(storedList(Scope::User));
    // Not on to Close, which a second press of the key would press.
    ui->offerView->setFocus(Qt::OtherFocusReason);
    return true;
}

void OperatorsWindow::useBuiltInList()
{
    const StoredList stored = storedList(Scope::User);
    QString text = tr("Your list is removed.");
    if (stored.origin == Origin::Own) {
        const QString vanishing = vanishingText(listWithoutOwn().list);
        if (!vanishing.isEmpty())
            text += "\n\n" + vanishing;
    }
    if (!confirm(text, tr("Remove")))
        return;
    const QString problem =
        stored.origin == Origin::Own ? removeStoredList(Scope::User) : QString();
    if (!problem.isEmpty()) {
        tellFailure(problem);
        return;
    }
    m_isJustSaved = stored.origin == Origin::Own;
    m_list->begin(storedList(Scope::User));
}

QString OperatorsWindow::vanishingText(const QVariantMap &list)
{
    const QString name = vanishingOperator(list);
    if (name.isEmpty())
        return {};
    const QString text =
        tr("\"%1\" is chosen in the main window, and the list will not have it any more.")
            .arg(name);
    if (list.isEmpty())
        return text;
    return text + ' ' + tr("\"%1\" will be chosen instead.").arg(list.firstKey());
}

bool OperatorsWindow::confirm(const QString &text, const QString &action)
{
    QMessageBox box(QMessageBox::Warning, windowTitle(), text,
                    QMessageBox::Ok | QMessageBox::Cancel, this);
    box.setTextFormat(Qt::PlainText);
    box.button(QMessageBox::Ok)->setText(action);
    return box.exec() == QMessageBox::Ok;
}

void OperatorsWindow::tellFailure(const QString &text)
{
    QMessageBox box(QMessageBox::Warning, windowTitle(), text, QMessageBox::Ok, this);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

void OperatorsWindow::closeEvent(QCloseEvent *event)
{
    if (!m_list->isChanged()) {
        event->accept();
        return;
    }
    QMessageBox box(QMessageBox::Question, windowTitle(), tr("The list has changed. Save it?"),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
    const int answer = box.exec();
    event->setAccepted(answer == QMessageBox::Discard || (answer == QMessageBox::Save && save()));
}
