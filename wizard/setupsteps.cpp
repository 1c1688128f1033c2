#include "wizard/setupsteps.h"

#include "dialup/phonebookentry.h"
#include "install/installationsteps.h"

// The spelling mistakes are kept on purpose.
const SetupStep setupSteps[SetupStepCount + 1] = {
    {"<html>Installing the Mobile Driver. It may take several minutes. Please wait till "
     "finish.</html>",
     SetupAllInfs,
     "An error occured in INF setup. Please run the application as Administrator. For this, close "
     "the application, right click on the TolvaneDialler and click on Run as Administrator"},
    {"<html>Rescaning Devices...</html>", ReScanDriver, "Rescan failed."},
    {"<html>Checking for available ports...</html>", SetCurrentPortSettings,
     "No compatible mobile found. If mobile is connected, please disconnect and reconnect."},
    {"<html>Setting up the modem for the port. It may take serveral minutes.Please wait till "
     "finish.</html>",
     InstallModem, "An error occured in modem setup. Please retry."},
    {"<html>Creating the dial-up connection...</html>", createDialupConnection,
     "An error occured in creating Dial Up connection. Please retry."},
    {"<html>Setup Successfull. Press <b><i>Finish</i></b> and get connected to the "
     "Internet.</html>",
     nullptr, "An unknown error occured."},
};
