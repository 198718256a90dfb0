# GoogleTest, built from the sources that Debian's package ships, so that it carries the sanitizers
# of the preset and also exists for Windows. The project's warnings do not apply to it.
set(TAVU_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "The sources of GoogleTest and GoogleMock")
if(NOT EXISTS ${TAVU_GOOGLETEST_DIR}/googletest/src/gtest-all.cc)
    message(FATAL_ERROR "GoogleTest's sources are missing: run scripts/install-packages.sh")
endif()

add_library(tavu_gtest STATIC
    ${TAVU_GOOGLETEST_DIR}/googletest/src/gtest-all.cc
    ${TAVU_GOOGLETEST_DIR}/googlemock/src/gmock-all.cc)
target_include_directories(tavu_gtest SYSTEM
    PUBLIC ${TAVU_GOOGLETEST_DIR}/googletest/include ${TAVU_GOOGLETEST_DIR}/googlemock/include
    PRIVATE ${TAVU_GOOGLETEST_DIR}/googletest ${TAVU_GOOGLETEST_DIR}/googlemock)
# Compiled as the preset says and not as the tests are: unoptimised under AddressSanitizer its death
# tests take the stack for one that grows upwards, and the program ends without a word.
target_compile_options(tavu_gtest PRIVATE -w)
target_link_libraries(tavu_gtest PUBLIC Threads::Threads)
set_target_properties(tavu_gtest PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
