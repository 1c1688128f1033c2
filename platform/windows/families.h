#pragma once

namespace platform {

struct Platform;

// Each fills the slots of one family with the system's own functions.
void provideErrorHandling(Platform *platform);
void provideForeground(Platform *platform);
void provideKernelObjects(Platform *platform);
void provideMemory(Platform *platform);
void provideModules(Platform *platform);
void provideProcess(Platform *platform);
void provideRas(Platform *platform);
void provideRegistry(Platform *platform);
void provideSecurity(Platform *platform);
void provideSerialComm(Platform *platform);
void provideSetupApi(Platform *platform);
void provideSystemInformation(Platform *platform);

} // namespace platform
