list(APPEND PLATFORM_SOURCES utility/filewatch.cpp utility/pollthread.cpp utility/posixfiles.cpp utility/signalwatcher.cpp)
