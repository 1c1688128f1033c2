#include "operators/command.h"

#include "operators/catalogue.h"
#include "operators/countrynames.h"
#include "operators/operatorlist.h"
#include "operators/operatorstore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <initializer_list>
#include <optional>

namespace {

const char name[] = "tolvane-operators";

/// One call of the command. What can fail answers with no value or false after
/// it has told why; run() then ends.
class Command
{
public:
    Command(QIODevice *output, QIODevice *errors) : m_output(output), m_errors(errors)
    {
        m_parser.setApplicationDescription(
            "Changes the list of mobile operators of Tolvane Modem Connector. Without options the "
            "window \"Tolvane Mobile Operators\" opens.");
        m_parser.addOptions({
            {"countries", "Print the codes and names of the countries."},
            {"country", "A country, by its two letters. May be given several times.", "code"},
            {"list", "Print the list; with --country, the operators that can be chosen there."},
            {"set", "Begin a new list; with --country, of all operators there."},
            {"import", "Take the list from a text file; \"-\" is the standard input.", "file"},
            {"add", "Add an operator, or give it another access point.", "name=apn"},
            {"remove", "Remove an operator.", "name"},
            {"built-in", "Remove the list, so that the built-in one is in use again."},
            {"export", "Write the list to a text file; \"-\" is the standard output.", "file"},
            {"system", "Work on the presets for everyone on this computer."},
            {"providers", "Read the world's operators from this file.", "file"},
            {{"h", "help"}, "Print this help."},
            {"version", "Print the version."},
        });
    }

    int run(const QStringList &arguments)
    {
        if (!m_parser.parse(arguments)) {
            isWrong(m_parser.errorText());
        } else if (has("help")) {
            print(m_parser.helpText());
        } else if (has("version")) {
            print(QString("%1 %2\n").arg(name, QCoreApplication::applicationVersion()));
        } else if (isUsedWell()) {
            m_scope = has("system") ? Scope::System : Scope::User;
            if (has("countries"))
                printCountries();
            else if (has("country") && !has("set"))
                printOffers();
            else if (change())
                show();
        }
        return m_result;
    }

private:
    bool has(const char *option) const { return m_parser.isSet(option); }
    bool hasOneOf(std::initializer_list<const char *> options) const
    {
        return std::any_of(options.begin(), options.end(),
                           [this](const char *option) { return has(option); });
    }

    void print(const QString &text) { m_output->write(text.toUtf8()); }
    void warn(const QString &message)
    {
        m_errors->write(QString("%1: %2\n").arg(name, message).toUtf8());
    }

    /// Both answer false.
    bool isWrong(const QString &message)
    {
        m_result = CommandWrongUse;
        warn(message);
        m_errors->write(QString("Try \"%1 --help\".\n").arg(name).toUtf8());
        return false;
    }
    bool hasFailed(const QString &message)
    {
        m_result = CommandFailed;
        warn(message);
        return false;
    }

    bool isUsedWell()
    {
        if (!m_parser.positionalArguments().isEmpty())
            return isWrong(
                QString("\"%1\" is no option.").arg(m_parser.positionalArguments().first()));
        if (!hasOneOf({"countries", "list", "set", "import", "add", "remove", "built-in", "export",
                       "country"}))
            return isWrong("Nothing is to be done.");
        if (int(has("set")) + int(has("import")) + int(has("built-in")) > 1)
            return isWrong("--set, --import and --built-in exclude each other.");
        if (has("built-in") && hasOneOf({"add", "remove"}))
            return isWrong("--built-in removes the list: nothing can be added or removed.");
        if (has("set") && !hasOneOf({"country", "add"}))
            return isWrong("--set needs --country or --add: the list would be empty.");
        if (has("country") && !hasOneOf({"set", "list"}))
            return isWrong("--country needs --list or --set.");
        if (has("country") && !has("set") &&
            hasOneOf({"import", "add", "remove", "built-in", "export"}))
            return isWrong("--country with --list only prints what can be chosen there.");
        return true;
    }

    std::optional<Catalogue> catalogue()
    {
        const QString file = has("providers") ? m_parser.value("providers") : providersFile();
        Catalogue catalogue(readProvidersFile(file), systemCountry());
        if (catalogue.countries().isEmpty()) {
            hasFailed(catalogue.problem().isEmpty() ? "The list of mobile operators is empty."
                                                    : catalogue.problem());
            return {};
        }
        if (!catalogue.problem().isEmpty())
            warn(catalogue.problem());
        return catalogue;
    }

    void printCountries()
    {
        const std::optional<Catalogue> all = catalogue();
        if (!all)
            return;
        for (const CatalogueCountry &country : all->countries())
            print(QString("%1  %2\n").arg(country.code, country.name));
    }

    /// The countries that were asked for; nothing when one of them is unknown.
    QVector<CatalogueCountry> chosenCountries(const Catalogue &all)
    {
        QVector<CatalogueCountry> countries;
        for (const QString &code : m_parser.values("country")) {
            const int place = all.countryWithCode(code);
            if (place < 0) {
                isWrong(QString("No operators of a country \"%1\" are known. --countries prints "
                                "the countries.")
                            .arg(code));
                return {};
            }
            countries.append(all.countries().at(place));
        }
        return countries;
    }

    /// In the form of a list, so that it can be edited and imported.
    void printOffers()
    {
        const std::optional<Catalogue> all = catalogue();
        if (!all)
            return;
        for (const CatalogueCountry &country : chosenCountries(*all)) {
            print(QString("# %1\n").arg(country.name));
            for (const int place : country.offers) {
                const Offer &offer = all->offers().at(place);
                QStringList remarks{offer.plans, offer.note};
                remarks.removeAll(QString());
                if (!remarks.isEmpty())
                    print("#   " + remarks.join(". ") + '\n');
                m_output->write(listAsText({{offer.name, offer.apn}}));
            }
            if (country.leftOut > 0)
                print(QString("# %1\n").arg(leftOutText(country.leftOut)));
        }
    }

    /// Changes the stored list, if that was asked for.
    bool change()
    {
        if (has("built-in")) {
            warnOfVanishing(listWithoutOwn().list);
            const QString problem = removeStoredList(m_scope);
            return problem.isEmpty() || hasFailed(problem);
        }
        if (!hasOneOf({"set", "import", "add", "remove"}))
            return true;
        QVariantMap list;
        if (!begin(&list) || !remove(&list) || !add(&list))
            return false;
        if (list.isEmpty())
            return hasFailed("The list would be empty. --built-in brings the built-in one back.");
        warnOfVanishing(list);
        const QString problem = storeList(m_scope, list);
        return problem.isEmpty() || hasFailed(problem);
    }

    /// What the list is before single operators are removed and added.
    bool begin(QVariantMap *list)
    {
        if (has("import"))
            return import(m_parser.value("import"), list);
        if (!has("set")) {
            *list = storedList(m_scope).list;
            return true;
        }
        if (!has("country"))
            return true;
        const std::optional<Catalogue> all = catalogue();
        if (!all)
            return false;
        const QVector<CatalogueCountry> countries = chosenCountries(*all);
        for (const CatalogueCountry &country : countries) {
            for (const int place : country.offers)
                addToList(list, all->offers().at(place));
        }
        return !countries.isEmpty();
    }

    bool import(const QString &fileName, QVariantMap *list)
    {
        QFile file(fileName);
        const bool isOpen = fileName == "-" ? file.open(stdin, QIODevice::ReadOnly)
                                            : file.open(QIODevice::ReadOnly);
        const QByteArray text = isOpen ? file.readAll() : QByteArray();
        if (file.error() != QFileDevice::NoError)
            return hasFailed(QString("%1 cannot be read: %2").arg(fileName, file.errorString()));
        const ListFromText read = listFromText(text);
        if (!read.problem.isEmpty())
            return hasFailed(QString("%1 is no list of operators. %2").arg(fileName, read.problem));
        *list = read.list;
        return true;
    }

    bool remove(QVariantMap *list)
    {
        for (const QString &removed : m_parser.values("remove")) {
            if (list->remove(removed) == 0)
                return hasFailed(QString("The list has no operator \"%1\".").arg(removed));
        }
        return true;
    }

    bool add(QVariantMap *list)
    {
        for (const QString &entry : m_parser.values("add")) {
            const ListFromText read = listFromText(entry.toUtf8());
            if (read.list.size() != 1)
                return isWrong(QString("--add \"%1\": %2")
                                   .arg(entry, read.problem.isEmpty()
                                                   ? "It is not of the form NAME=APN."
                                                   : read.problem.section(": ", 1)));
            list->insert(read.list.firstKey(), read.list.first());
        }
        return true;
    }

    void warnOfVanishing(const QVariantMap &list)
    {
        // Whom the presets are for, and what they have chosen, is not known here.
        const QString vanishing = m_scope == Scope::User ? vanishingOperator(list) : QString();
        if (!vanishing.isEmpty() && !list.isEmpty())
            warn(QString("\"%1\" is chosen in the main window, and the list will not have it any "
                         "more. \"%2\" will be chosen instead.")
                     .arg(vanishing, list.firstKey()));
    }

    /// What was asked to be shown of the list.
    void show()
    {
        const QByteArray text = listAsText(storedList(m_scope).list);
        if (has("export") && !exportTo(m_parser.value("export"), text))
            return;
        if (has("list"))
            m_output->write(text);
    }

    bool exportTo(const QString &fileName, const QByteArray &text)
    {
        if (fileName == "-")
            return m_output->write(text) == text.size();
        QSaveFile file(fileName);
        // commit() alone says nothing of what then cannot be written, and takes the old
        // file's place with less.
        if (file.open(QIODevice::WriteOnly | QIODevice::Text) && file.write(text) == text.size() &&
            file.flush() && file.commit())
            return true;
        return hasFailed(QString("%1 cannot be written: %2").arg(fileName, file.errorString()));
    }

    QIODevice *m_output;
    QIODevice *m_errors;
    QCommandLineParser m_parser;
    Scope m_scope = Scope::User;
    int m_result = CommandDone;
};

} // namespace

int runOperatorsCommand(const QStringList &arguments, QIODevice *output, QIODevice *errors)
{
    return Command(output, errors).run(arguments);
}
