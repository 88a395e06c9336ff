# Flags of every target, and the two flavours that differ from it: the library itself and the rest.
#
#   pcsim_flags      warnings, word size, sanitizers: everything links it
#   platform_flags   the library alone: no exceptions, no RTTI, plain i686 code, nothing visible
#                    that is not marked as exported

add_library(pcsim_flags INTERFACE)
target_compile_options(pcsim_flags INTERFACE -Wall -Wextra -Wformat=2 -Wshadow -Wundef -Werror
                       $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>)
target_include_directories(pcsim_flags INTERFACE ${PROJECT_SOURCE_DIR}/include
                           ${PROJECT_SOURCE_DIR})

if(NOT PCSIM_NATIVE)
    set(PCSIM_WORD_SIZE -m32)
    target_compile_options(pcsim_flags INTERFACE ${PCSIM_WORD_SIZE})
    target_link_options(pcsim_flags INTERFACE ${PCSIM_WORD_SIZE})
    set(CMAKE_SYSTEM_PROCESSOR i386)
endif()
# Tests run for less time than it takes to optimise them; where not, their target says so. With
# sanitizers, too, where optimising takes four times as long: there the library alone is optimised,
# which the tests call millions of times. Tests need no more than line numbers; whole debug
# information is a third of the time that they take to compile.
set(PCSIM_TEST_OPTIMISATION -O0 -g1)
if(PCSIM_SANITIZE)
    # What a target is compiled with is as the folder says that it stands in: tests do without the one
    # for undefined behaviour, with which they would take half as long again.
    define_property(TARGET PROPERTY PCSIM_SANITIZERS
                    INITIALIZE_FROM_VARIABLE TARGETS_PCSIM_SANITIZERS)
    set(TARGETS_PCSIM_SANITIZERS address,undefined)
    target_compile_options(pcsim_flags INTERFACE
                           -fsanitize=$<TARGET_PROPERTY:PCSIM_SANITIZERS>
                           -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    target_link_options(pcsim_flags INTERFACE -fsanitize=address,undefined)
endif()
# Everything that a fuzzer is made of is counted and held by the sanitizers. Warnings are the other
# builds' business, whose compiler the sources are written for.
if(PCSIM_FUZZ)
    target_compile_options(pcsim_flags INTERFACE -w -O2 -g1 -fno-omit-frame-pointer
                           -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                           -fno-sanitize-coverage=trace-cmp  # half the time; there are dictionaries
                           -fno-sanitize=function)  # accepted-and-ignored operations take anything
    target_link_options(pcsim_flags INTERFACE -fsanitize=address,undefined)
endif()

add_library(platform_flags INTERFACE)
target_link_libraries(platform_flags INTERFACE pcsim_flags)
# The stack of an old host is aligned to 4 bytes and its processor may lack SSE, hence i686 code.
# The interface is fixed words: conversions between widths are written out.
target_compile_options(platform_flags INTERFACE -fPIC -fvisibility=hidden -Wconversion -Wcast-align
                       $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
# What the interface headers declare by name is what the library exports.
target_compile_definitions(platform_flags INTERFACE
                           "PCSIM_API=__attribute__((visibility(\"default\")))")
if(NOT PCSIM_NATIVE)
    target_compile_options(platform_flags INTERFACE -march=i686 -mtune=generic)
endif()
if(PCSIM_SANITIZE)
    target_compile_options(platform_flags INTERFACE -O1)
endif()

# Programs of ours around the library: their speed is not in their own code, so it is compiled for a
# quick build, with line numbers as debug information. Files where it is say so themselves.
add_library(host_program_flags INTERFACE)
target_compile_options(host_program_flags INTERFACE -g1)
if(NOT PCSIM_SANITIZE AND NOT PCSIM_COVERAGE)
    target_compile_options(host_program_flags INTERFACE -O1)
endif()
