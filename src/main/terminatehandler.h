#pragma once

/// Makes the process log what ends it when an exception is caught nowhere, on whatever thread, before it
/// aborts. Once, early in main.
void InstallTerminateHandler();
