# Processes that run or not as a test wants, and more of libc that fails.
target_sources(appliance_pppoe PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/appliance/pppoe/stand_ins.cpp)
