list(APPEND PLATFORM_SOURCES koconfig/conversion.cpp koconfig/listeners.cpp koconfig/secretstore.cpp
  koconfig/secrettext.cpp koconfig/settings.cpp koconfig/settingsfile.cpp koconfig/store.cpp)
