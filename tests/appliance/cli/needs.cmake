# The command itself, a reader of its JSON, and a service manager that answers as a test wants: the platform's libraries
# can be replaced, so the command is run with another libkavosystemd.so.7.
if(NOT TARGET kavonet)
    set_target_properties(appliance_cli PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
endif()
add_library(scripted_units SHARED ${CMAKE_CURRENT_SOURCE_DIR}/appliance/cli/scripted_units.cpp)
set_target_properties(scripted_units PROPERTIES
    OUTPUT_NAME kavosystemd SOVERSION ${PROJECT_VERSION_MAJOR} LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/units
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/platform/systemd/kavosystemd.map)
target_link_options(scripted_units PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/platform/systemd/kavosystemd.map)
target_link_libraries(scripted_units PRIVATE kavo_contracts kavocore)
target_sources(appliance_cli PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/appliance/cli/command.cpp)
add_dependencies(appliance_cli kavonet scripted_units)
target_link_libraries(appliance_cli PRIVATE json-c)
