list(APPEND PLATFORM_SOURCES utility/pollthread.cpp utility/signalwatcher.cpp)
