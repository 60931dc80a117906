list(APPEND PLATFORM_SOURCES diagnostics/diagnosticscommclient.cpp diagnostics/diagnosticssignal.cpp
     diagnostics/pendingreports.cpp diagnostics/validtext.cpp diagnostics/warningsignal.cpp)
