list(APPEND PLATFORM_SOURCES utility/attributefile.cpp utility/crc16.cpp utility/crc8.cpp utility/filewatch.cpp utility/jsontext.cpp
     utility/monotoniccondition.cpp utility/pollthread.cpp utility/posixfiles.cpp utility/rs485mode.cpp utility/signalwatcher.cpp
     utility/text.cpp utility/wipe.cpp)
