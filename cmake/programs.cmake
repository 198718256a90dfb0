# Programs that are built on the library: the shell, the examples and the benchmarks.

file(GLOB tavusql_sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/tools/tavusql/*.cpp ${PROJECT_SOURCE_DIR}/tools/tavusql/*.c)
if(tavusql_sources)
    add_executable(tavusql ${tavusql_sources})
    target_link_libraries(tavusql PRIVATE tavu_warnings TavuOCI tavu_system)
endif()

file(GLOB example_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.c)
foreach(source IN LISTS example_sources)
    cmake_path(GET source STEM name)
    add_executable(example_${name} ${source})
    target_link_libraries(example_${name} PRIVATE tavu_warnings TavuOCI tavu_system)
endforeach()

# Benchmarks: each source directly in bench/ is one program; bench/support holds what they share.
# They measure optimised code, so the sanitizers' presets leave them out; the server that they replay
# is a forked process, so the Windows preset does too. The server's ciphers, and the native calls of
# those that measure below the call interface, come from the static library.
file(GLOB bench_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/bench/*.cpp)
if(bench_sources AND NOT TAVU_SANITIZE AND NOT WIN32)
    tavu_glob(bench_support_sources bench/support)
    add_library(bench_support INTERFACE)
    if(bench_support_sources)
        add_library(bench_support_objects STATIC ${bench_support_sources})
        target_include_directories(bench_support_objects PUBLIC bench src include)
        target_link_libraries(bench_support_objects PRIVATE tavu_warnings PUBLIC tvci tavu_system)
        target_link_libraries(bench_support INTERFACE bench_support_objects)
    endif()
    # What the shared library does not export is measured on the static one.
    set(native_benches batch bulk cursor lob)
    foreach(source IN LISTS bench_sources)
        cmake_path(GET source STEM name)
        add_executable(bench_${name} ${source})
        target_include_directories(bench_${name} PRIVATE bench)
        set(bench_library TavuOCI)
        if(name IN_LIST native_benches)
            set(bench_library tvci)
        endif()
        target_link_libraries(bench_${name}
            PRIVATE tavu_warnings bench_support ${bench_library} tavu_system)
    endforeach()
endif()
