# It reads the store once more by itself, and stands in for the platform's commands and events.
target_link_libraries(alias_store_fuzz PRIVATE kavosdk json-c ${CMAKE_DL_LIBS})
if(KAVONET_BUILD_FUZZ)
    target_sources(alias_store_fuzz PRIVATE ../support/read_back.cpp)
endif()
