# What a build that counts lines and branches adds: the compiler's counters in the folders that are
# measured (tests/coverage), and nowhere else. Nothing is optimised there, so that each line is one.
foreach(folder platform mii console console/server console/ctl host)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
        get_target_property(type ${target} TYPE)
        if(NOT type STREQUAL UTILITY)
            target_compile_options(${target} PRIVATE --coverage -O0)
            target_link_options(${target} PUBLIC --coverage)
        endif()
    endforeach()
endforeach()
# Tests see programming errors stop the process.
target_sources(pcsimulation PRIVATE ${PROJECT_SOURCE_DIR}/tests/coverage/dying.c)
# Compiled into a test once more.
set_property(SOURCE ${PROJECT_SOURCE_DIR}/platform/l2/fdbScan.cpp TARGET_DIRECTORY l2_scan_tests
             APPEND PROPERTY COMPILE_OPTIONS --coverage)
target_link_options(l2_scan_tests PRIVATE --coverage)
