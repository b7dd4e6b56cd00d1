# What every target of this project is built with.

add_library(morvanel_options INTERFACE)
target_compile_options(morvanel_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wformat=2 -Wimplicit-fallthrough
    $<$<BOOL:${MORVANEL_WERROR}>:-Werror>
    $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>
    -fstack-protector-strong)
target_compile_definitions(morvanel_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_KEYWORDS
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_link_options(morvanel_options INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(MORVANEL_SANITIZE)
    target_compile_options(morvanel_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(morvanel_options INTERFACE -fsanitize=address,undefined)
elseif(MORVANEL_FUZZ)
    target_compile_options(morvanel_options INTERFACE
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(morvanel_options INTERFACE -fsanitize=address,undefined)
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_definitions(morvanel_options INTERFACE _FORTIFY_SOURCE=2)
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()

# morvanel_library(NAME SOURCES ... LINK ...): one folder of src. Its headers are seen only by what links it,
# so that an include against the direction of the layers does not build.
function(morvanel_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK;PRIVATE_LINK")
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE morvanel_options ${arg_PRIVATE_LINK})
endfunction()

# morvanel_test(NAME [BUS] [X11] SOURCES ... LINK ... ENVIRONMENT ...): one Qt Test program, run with a HOME and a
# runtime folder of its own; with BUS on a private session bus, with X11 on an X server with a window manager. LEAKS:
# a leak fails it where the sanitizers are built in; for tests without the leaks of other people's libraries.
function(morvanel_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "BUS;X11;LEAKS" "TIMEOUT" "SOURCES;LINK;ENVIRONMENT")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE morvanel_options Qt6::Test ${arg_LINK})
    set(wrapper ${CMAKE_SOURCE_DIR}/tests/support/isolated)
    if(arg_BUS)
        list(APPEND wrapper --bus)
    endif()
    set(platform offscreen)
    if(arg_X11)
        list(APPEND wrapper --x11)
        set(platform xcb)
    endif()
    add_test(NAME ${name} COMMAND ${wrapper} $<TARGET_FILE:${name}>)
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${arg_TIMEOUT}
        FAIL_REGULAR_EXPRESSION "SKIP   :"
        ENVIRONMENT "QT_QPA_PLATFORM=${platform};${arg_ENVIRONMENT}")
    if(arg_LEAKS)
        set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:disable_coredump=0)
    endif()
endfunction()
