# How every mivel library and program is declared.
#
# Each library owns one folder of src/ and exposes only that folder as its include root: the
# build makes build/include/<library>/<folder>/<Header>.h links to the folder's own headers, so
# "link/Serial.h" resolves only in targets that link mivel_link. An include that points up the
# layers (a link header including a driver's) fails to build instead of quietly working.

option(MIVEL_WERROR "Treat compiler warnings as errors" OFF)

# The warnings every target is built with.
function(mivel_warnings target)
    if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-unused-parameter)
        if(MIVEL_WERROR)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
endfunction()

# mivel_library(<name> FOLDER <folder under src> SOURCES ... [DEPS ...])
function(mivel_library name)
    cmake_parse_arguments(L "" "FOLDER" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${L_SOURCES})
    set(root ${PROJECT_BINARY_DIR}/include/${name})
    file(REMOVE_RECURSE ${root})
    file(MAKE_DIRECTORY ${root}/${L_FOLDER})
    file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${L_FOLDER}/*.h)
    foreach(header IN LISTS headers)
        get_filename_component(file ${header} NAME)
        file(CREATE_LINK ${header} ${root}/${L_FOLDER}/${file} SYMBOLIC)
    endforeach()
    target_include_directories(${name} PUBLIC ${root})
    target_link_libraries(${name} PUBLIC ${L_DEPS})
    mivel_warnings(${name})
endfunction()

# mivel_program(<name> SOURCES ... DEPS ...)
function(mivel_program name)
    cmake_parse_arguments(P "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${P_SOURCES})
    target_link_libraries(${name} PRIVATE ${P_DEPS})
    mivel_warnings(${name})
endfunction()
