# The tests: one executable for each folder of tests/ that holds *_test.cpp, and one CTest entry for
# each executable. What needs a server is started through tests/run_with_server.sh.

# The code of the tests is compiled for a quick build, whatever the preset: what they test, and how
# it is compiled, is the library. Optimised and with sanitizers a test file takes five times as long.
set(TAVU_TEST_CODE_OPTIONS -O0 -g1)
include(cmake/googletest.cmake)

# The development server exists for Unix only: a Windows build runs its tests against the native one.
if(WIN32)
    set(TAVU_TAVUD ${PROJECT_SOURCE_DIR}/build/linux-release/tavud CACHE FILEPATH
        "The natively built server that the end-to-end tests run against")
    set(run_program ${CMAKE_CROSSCOMPILING_EMULATOR})
    set(sockets_source tests/support/host_sockets_win.cpp)
else()
    set(TAVU_TAVUD ${PROJECT_BINARY_DIR}/tavud)
    set(run_program)
    set(sockets_source tests/support/host_sockets_unix.cpp)
endif()
set(run_with_server ${PROJECT_SOURCE_DIR}/tests/run_with_server.sh ${TAVU_TAVUD} --)

set(test_environment
    "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")

# tavu_add_test(NAME COMMAND...) adds one CTest entry with the settings that all of them share.
function(tavu_add_test name)
    add_test(NAME ${name} COMMAND ${ARGN})
    set_tests_properties(${name} PROPERTIES
        TIMEOUT 300
        ENVIRONMENT "${test_environment}"
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
endfunction()

# What several tests share, the scripted peer among it. It may call the library's own functions;
# which copy of them it gets is the choice of the executable that links it.
tavu_glob(support_sources tests/support)
list(FILTER support_sources EXCLUDE REGEX "/(test_main|host_sockets_unix|host_sockets_win)\\.cpp$")
set(test_support)
if(support_sources)
    add_library(test_support STATIC ${support_sources})
    target_include_directories(test_support PUBLIC tests src include)
    target_compile_definitions(test_support PUBLIC TAVU_TEST_SEAMS=1)
    target_compile_options(test_support PRIVATE ${TAVU_TEST_CODE_OPTIONS})
    target_link_libraries(test_support PUBLIC tavu_warnings tavu_gtest tavu_system)
    set(test_support test_support)
endif()

# tavu_test_executable(AREA LIBRARY) makes test_<area> from tests/<area>, if it has tests.
function(tavu_test_executable area library)
    tavu_glob(sources tests/${area})
    set(test_sources ${sources})
    list(FILTER test_sources INCLUDE REGEX "_test\\.cpp$")
    if(NOT test_sources OR NOT TARGET ${library})
        return()
    endif()
    add_executable(test_${area} ${sources} tests/support/test_main.cpp ${sockets_source})
    target_include_directories(test_${area} PRIVATE tests src include)
    target_compile_options(test_${area} PRIVATE ${TAVU_TEST_CODE_OPTIONS})
    target_link_libraries(test_${area}
        PRIVATE tavu_warnings ${test_support} ${library} tavu_gtest tavu_system)
endfunction()

foreach(area platform diag wire client values stmt bulk oci fault)
    tavu_test_executable(${area} tavu_seams)
    if(TARGET test_${area} AND NOT area STREQUAL fault)
        tavu_add_test(${area} test_${area} --gtest_brief=1)
    endif()
endforeach()

# The control file of the tests is read by every program that links tavu_seams: while test_client
# writes it nothing else runs.
if(TARGET test_client)
    set_source_files_properties(tests/client/control_file_test.cpp PROPERTIES
        COMPILE_DEFINITIONS TAVU_TEST_CONTROL_FILE="${TAVU_TEST_CONTROL_FILE}")
    set_tests_properties(client PROPERTIES RUN_SERIAL TRUE)
endif()

# The static library as it is shipped, with the machine's own control file, which it can be given
# under Wine alone. Every other program in the same Wine folder would read it.
if(WIN32)
    tavu_test_executable(native tvci)
    if(TARGET test_native)
        tavu_add_test(native test_native --gtest_brief=1)
        set_tests_properties(native PROPERTIES RUN_SERIAL TRUE)
    endif()
endif()

# A second implementation of the enciphered login's arithmetic, to compare with.
if(TARGET test_wire AND NOT WIN32)
    target_link_libraries(test_wire PRIVATE gmp)
endif()

if(TARGET test_fault)
    tavu_add_test(fault ${run_with_server} ${run_program} $<TARGET_FILE:test_fault> --gtest_brief=1)
endif()

tavu_test_executable(api TavuOCI)
if(TARGET test_api)
    tavu_add_test(api test_api --gtest_brief=1)
endif()

tavu_test_executable(e2e TavuOCI)
if(TARGET test_e2e)
    tavu_add_test(e2e ${run_with_server} ${run_program} $<TARGET_FILE:test_e2e> --gtest_brief=1)
endif()

# The benchmarks at a small size, so that they keep working; nothing is measured here.
if(TARGET bench_fetch)
    tavu_add_test(bench_fetch bench_fetch 3000)
    tavu_add_test(bench_fetch_enciphered bench_fetch_enciphered 1500)
    tavu_add_test(bench_login bench_login 20)
    tavu_add_test(bench_pool bench_pool 1000)
    tavu_add_test(bench_cipher bench_cipher 5)
endif()
if(TARGET bench_cursor)
    tavu_add_test(bench_cursor bench_cursor 3000 2001)
endif()
if(TARGET bench_batch)
    tavu_add_test(bench_batch bench_batch 100 3)
endif()
if(TARGET bench_bulk)
    tavu_add_test(bench_bulk bench_bulk 3000)
endif()
if(TARGET bench_lob)
    tavu_add_test(bench_lob bench_lob 300000)
endif()

# Each example runs against a server of its own, told where to log on. What it must print lies
# beside its source.
file(GLOB example_outputs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.expected)
foreach(expected IN LISTS example_outputs)
    cmake_path(GET expected STEM name)
    if(TARGET example_${name})
        tavu_add_test(example_${name} ${PROJECT_SOURCE_DIR}/tests/compare_output.sh ${expected} --
            ${run_with_server} ${run_program} $<TARGET_FILE:example_${name}>
            127.0.0.1:@PORT@/SYSTEM)
    endif()
endforeach()

if(NOT WIN32)
    tavu_test_executable(server tavud_parts)
    if(TARGET test_server)
        add_dependencies(test_server tavud)
        tavu_add_test(server test_server --gtest_brief=1)
    endif()
    # These start and kill servers of their own.
    tavu_test_executable(live tavu_seams)
    if(TARGET test_live)
        add_dependencies(test_live tavud)
        tavu_add_test(live test_live --gtest_brief=1)
    endif()
endif()
