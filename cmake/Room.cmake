# How every room is built: warnings, sanitizers, and one library from the sources that lie in the room's folder.
find_package(Threads REQUIRED)

add_library(ferrowick_options INTERFACE)
target_compile_options(ferrowick_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(FERROWICK_WERROR)
    target_compile_options(ferrowick_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees overlapping copies in any "text" + std::string (GCC bug 105651).
    target_compile_options(ferrowick_options INTERFACE -Wno-restrict)
endif()
target_include_directories(ferrowick_options INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(ferrowick_options INTERFACE Threads::Threads)
target_compile_definitions(ferrowick_options INTERFACE FERROWICK_VERSION="${PROJECT_VERSION}")
if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    # Release speed with line numbers: -O3 lets the compiler vectorise the sample loops.
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O3 -g1 -DNDEBUG")
endif()
# Clips are untrusted: what damage a fault can do is bounded by the build. No text relocations, no executable stack or
# heap, a read-only table of addresses, checked copies, canaries on stacks, and branch targets marked where the processor
# knows them.
include(CheckPIESupported)
check_pie_supported()
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection=full FERROWICK_HAS_CF_PROTECTION)
add_compile_options(-fstack-protector-strong $<$<BOOL:${FERROWICK_HAS_CF_PROTECTION}>:-fcf-protection=full>)
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
if(CMAKE_BUILD_TYPE MATCHES "^Rel" AND NOT FERROWICK_SANITIZE)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
if(FERROWICK_SANITIZE)
    add_compile_options(-fsanitize=${FERROWICK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${FERROWICK_SANITIZE})
    # Codecs crawl without any optimisation; line numbers are all that a report needs.
    add_compile_options($<$<CONFIG:Debug>:-O1> -g1)
endif()
if(FERROWICK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link) # the coverage that guides the fuzzers
endif()

# ferrowick_room(NAME [FOLDERS sub...]): the static library ferrowick_NAME of the .cpp files in this folder and in
# the named folders below it. A file belongs to the room that it lies in; none is listed twice. A main.cpp is a
# program's, not the library's.
function(ferrowick_room name)
    cmake_parse_arguments(ROOM "" "" "FOLDERS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    foreach(folder IN LISTS ROOM_FOLDERS)
        file(GLOB found CONFIGURE_DEPENDS ${folder}/*.cpp)
        list(APPEND sources ${found})
    endforeach()
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    add_library(ferrowick_${name} STATIC ${sources})
    target_link_libraries(ferrowick_${name} PUBLIC ferrowick_options)
endfunction()
