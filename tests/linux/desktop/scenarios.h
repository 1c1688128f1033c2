#pragma once

#include "tests/linux/guest/person.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

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
    void answerComesTogetherWithItsEcho();
    void cardAndNetworkAreNamed();
    void networkWantsANameAndAPassword();
    void purgedAndInstalledAgain();
    void namesWithSystemdResolved();

private:
    /// Runs a scenario. What throws fails the test and leaves a picture of the
    /// screen and a list of what runs.
    void scenario(const std::function<void(Person &)> &body);
    /// Installs the program and goes through its first run, if that was not done yet.
    void setUp(Person &person);
    /// Plugs the phone in, starts the program and presses its button.
    void connectWithProgram(Person &person);
    /// By the program's button; routes and name servers are as before then.
    void disconnect(Person &person);

    std::unique_ptr<Person> m_person;
    QString m_before; ///< routes and name servers before a dial
};
