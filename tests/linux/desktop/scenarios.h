#pragma once

#include "tests/linux/desktop/portwatch.h"
#include "tests/linux/guest/person.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class Seat;

class DesktopScenarios : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void networkManagerDialsByItself();
    void packageInstalledWithThePhoneThere();
    void phonePluggedInAfterThePackage();
    void firstRunAndDial();
    void personInBerlin();
    void otherNetworkComesAndGoesDuringACall();
    void nextConnectionRepairsWhatAKilledPppdLeft();
    void networkEndsTheCall();
    void unpluggedWhileConnectedAndPluggedInElsewhere();
    void unpluggedWhileDialling();
    void unpluggedWhileACommandWaits();
    void answerTogetherWithItsEchoIsTakenForNone();
    void cardAndNetworkAreNamed();
    void networkWantsANameAndAPassword();
    void networkGivesNoAddressOrNoNameServer();
    void ordinaryUsersAtTheComputer();
    void purgedAndInstalledAgain();
    void upgradedFromAnOlderVersion();
    void namesWithSystemdResolved();

private:
    /// Runs a scenario. What throws fails the test and leaves a picture of the
    /// screen and a list of what runs.
    void scenario(const std::function<void(Person &)> &body);
    /// Installs the program and goes through its first run, if that was not done yet.
    void setUp(Person &person);
    /// The parts of ordinaryUsersAtTheComputer().
    static void setsUpWithAPassword(Seat &anna);
    void secondUser(Seat &bert);
    /// Plugs the phone in, starts the program and presses its button.
    void connectWithProgram(Person &person);
    /// Leaves a picture of what ModemManager knows and who had the port when.
    static void showHolders(Person &person, const PortWatch &watch, const QString &picture);
    /// By the program's button; routes and name servers are as before then.
    void disconnect(Person &person);

    std::unique_ptr<Person> m_person;
    QString m_before; ///< routes and name servers before a dial
};
