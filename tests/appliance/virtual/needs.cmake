# PPPoE connections that run or not as a test wants, and more of libc that fails.
target_sources(appliance_virtual PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/appliance/pppoe/stand_ins.cpp)
