# One shared library of this project: kavo_add_library(<name> MAP <version script> SOURCES ...)
#
# Inside is C++ without exceptions and run-time types; outside is C, so the libraries are linked as C and need no C++
# run-time library on the appliance. Only the names in the version script leave the library.
set(KAVO_WARNINGS -Wall -Wextra -Wconversion -Wshadow -Wformat=2)

function(kavo_add_library name)
    cmake_parse_arguments(ARG "" "MAP" "SOURCES" ${ARGN})
    add_library(${name} SHARED ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        LINKER_LANGUAGE C
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        LINK_DEPENDS ${ARG_MAP})
    target_compile_options(${name} PRIVATE ${KAVO_WARNINGS}
        $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
    target_compile_definitions(${name} PRIVATE _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
    # None is ever unloaded: error records point to names in it, and handlers for the end of a thread and for forks are in it.
    target_link_options(${name} PRIVATE -Wl,--version-script=${ARG_MAP} -Wl,-z,now -Wl,-z,relro -Wl,-z,nodelete)
    if(NOT KAVONET_SANITIZE)
        target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
    # CMake adds the C++ run-time library for the sources' language, whatever the linker.
    set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "" PARENT_SCOPE)
    install(TARGETS ${name} EXPORT kavonetsdk LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

# Sanitizers are chosen by preset: KAVONET_SANITIZE=address,undefined
if(KAVONET_SANITIZE)
    add_compile_options(-fsanitize=${KAVONET_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KAVONET_SANITIZE})
    # With sanitizers the compiler takes the insides of <regex> for uninitialised; the other builds keep the warning.
    add_compile_options(-Wno-maybe-uninitialized)
endif()
