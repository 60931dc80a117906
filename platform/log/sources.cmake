list(APPEND PLATFORM_SOURCES log/log.cpp log/logcapture.cpp log/logconfigservice.cpp log/sinks.cpp)
