list(APPEND PLATFORM_SOURCES worker/callqueue.cpp worker/realcallline.cpp worker/realscheduler.cpp worker/virtualscheduler.cpp
     worker/worker.cpp)
