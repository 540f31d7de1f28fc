# What every target of the project shares: the language, the warnings, the sanitizers.

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)  # so that programs are linked as they are compiled, to run anywhere

option(VELMOR_HARDEN "Harden as a release is hardened; needs optimisation" OFF)
option(VELMOR_SHARED_CORE "Link velmor_core once, as a library that all tests load, not into each of them" OFF)
set(VELMOR_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize= takes them")
# For sources that only compute, on arrays of one caller, who is watched: under the thread sanitizer they would take most of
# every test.
set(velmor_computing "")
if(VELMOR_SANITIZE STREQUAL "thread")
    set(velmor_computing -fno-sanitize=thread)
endif()

# velmor_lightweight(NAME): objects that are linked into a host, which pays for their weight. Only the library itself is
# optimised at link time: for each of the tests that would take longer than it is worth.
function(velmor_lightweight name)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Release")
        return()
    endif()
    target_compile_options(${name} PRIVATE -Os -ffunction-sections -fdata-sections)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${name} PRIVATE -flto -ffat-lto-objects)
        target_link_options(${name} INTERFACE $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,velmor>>:-fno-lto>)
    endif()
endfunction()

function(velmor_target name)
    target_compile_features(${name} PUBLIC cxx_std_20)
    set_target_properties(${name} PROPERTIES
        CXX_EXTENSIONS OFF
        POSITION_INDEPENDENT_CODE ON)
    if(NOT VELMOR_SHARED_CORE)
        set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    endif()
    target_compile_options(${name} PRIVATE
        -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
        -Wold-style-cast -Wcast-qual -Wformat=2 -Wundef
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
    if(CMAKE_BUILD_TYPE STREQUAL "Release" OR VELMOR_HARDEN)
        target_compile_options(${name} PRIVATE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong)
        target_link_options(${name} PRIVATE LINKER:-z,relro,-z,now,-z,noexecstack)
    endif()
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
        # g++ 12 sees impossible overlaps and lengths where it inlines additions of strings
        target_compile_options(${name} PRIVATE
            "$<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-stringop-overflow;-Wno-array-bounds>")
    endif()
    if(VELMOR_SANITIZE)
        # g++ 12 takes the untaken alternatives of a variant for uninitialised when it instruments
        target_compile_options(${name} PRIVATE -fsanitize=${VELMOR_SANITIZE} -fno-sanitize-recover=all
            $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
        target_link_options(${name} PUBLIC -fsanitize=${VELMOR_SANITIZE})
    endif()
endfunction()
