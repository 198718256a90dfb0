# Checks of the tree and of what was built, as tests: each check also runs on inputs that it has to
# refuse. They run once, with the optimised builds, for they say the same under a sanitizer.
if(TAVU_SANITIZE)
    return()
endif()

set(scripts ${PROJECT_SOURCE_DIR}/scripts)
set(check_tests ${PROJECT_SOURCE_DIR}/tests/checks)

if(TARGET TavuOCI)
    if(WIN32)
        add_library(greedy_library MODULE tests/checks/greedy_library_win.cpp)
    else()
        add_library(greedy_library MODULE tests/checks/greedy_library_unix.cpp)
    endif()
    target_link_libraries(greedy_library PRIVATE tavu_warnings tavu_system)
    tavu_add_test(exports
        ${scripts}/check_exports ${TAVU_EXPORTS_FILE} $<TARGET_FILE:TavuOCI>)
    tavu_add_test(exports_check_refuses ${check_tests}/check_exports_test.sh
        ${scripts}/check_exports ${TAVU_EXPORTS_FILE}
        $<TARGET_FILE:TavuOCI> $<TARGET_FILE:greedy_library>)
endif()

if(NOT WIN32)
    tavu_add_test(layers ${scripts}/check_layers ${PROJECT_SOURCE_DIR})
    tavu_add_test(layers_check_refuses
        ${check_tests}/check_layers_test.sh ${scripts}/check_layers)
    tavu_add_test(waits ${scripts}/check_waits)
    tavu_add_test(coverage ${scripts}/check_coverage ${PROJECT_SOURCE_DIR})
    tavu_add_test(readme ${scripts}/check_readme ${PROJECT_SOURCE_DIR})
endif()
