# The library in its three forms. The objects of the native layer are compiled once for the shared
# library and the static one; tavu_seams is a second compilation of everything, in which the tests
# can make the n-th use of memory, socket, thread, wait or clock fail.
include(cmake/exports.cmake)

# Hidden is the rule; the sources of the exported functions are the exception, and the version
# script keeps of them what cmake/exports.txt names.
file(GLOB export_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/oci/exports*.cpp)
set_source_files_properties(${export_sources} PROPERTIES COMPILE_OPTIONS -fvisibility=default)

add_library(tavu_native OBJECT ${native_sources})
tavu_library_target(tavu_native)
string(REPLACE "\\" "\\\\" control_file "${TAVU_CONTROL_FILE}")
target_compile_definitions(tavu_native PRIVATE TAVU_CONTROL_FILE="${control_file}")

add_library(tvci STATIC $<TARGET_OBJECTS:tavu_native>)
target_include_directories(tvci PUBLIC include)
target_link_libraries(tvci PUBLIC tavu_system)
set_target_properties(tvci PROPERTIES LINKER_LANGUAGE CXX)

add_library(tavu_seams STATIC ${all_sources})
tavu_library_target(tavu_seams)
target_compile_definitions(tavu_seams PUBLIC TAVU_TEST_SEAMS=1)
# The tests write a control file of their own.
set(TAVU_TEST_CONTROL_FILE ${PROJECT_BINARY_DIR}/tavu_set_test.ctl)
target_compile_definitions(tavu_seams PRIVATE TAVU_CONTROL_FILE="${TAVU_TEST_CONTROL_FILE}")

if(NOT oci_sources)
    return()
endif()

add_library(TavuOCI SHARED ${oci_sources} $<TARGET_OBJECTS:tavu_native>)
target_include_directories(TavuOCI PRIVATE src PUBLIC include)
target_link_libraries(TavuOCI PRIVATE tavu_library_options tavu_system)
set_target_properties(TavuOCI PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
if(WIN32)
    # The name of the DLL has no "lib"; that of its import library has.
    set_target_properties(TavuOCI PROPERTIES PREFIX "" IMPORT_PREFIX "lib" IMPORT_SUFFIX ".dll.a"
        LINK_DEPENDS ${TAVU_DEF_FILE})
    target_sources(TavuOCI PRIVATE ${TAVU_DEF_FILE})
else()
    set_target_properties(TavuOCI PROPERTIES LINK_DEPENDS ${TAVU_VERSION_SCRIPT})
    target_link_options(TavuOCI PRIVATE
        -Wl,--version-script=${TAVU_VERSION_SCRIPT} -Wl,--no-undefined -Wl,-z,relro -Wl,-z,now)
    if(NOT TAVU_SANITIZE)
        target_link_options(TavuOCI PRIVATE -static-libgcc -static-libstdc++)
    endif()
endif()
