# Flags and link rules that every part of the project shares.

# What fixes the results: every file that computes, the tests' models included, is compiled with these. SSE arithmetic
# instead of x87, and no multiplication fused into an addition.
add_library(lum_arithmetic INTERFACE)
target_compile_options(lum_arithmetic INTERFACE -ffp-contract=off -mfpmath=sse)
target_include_directories(lum_arithmetic INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})

add_library(lum_warnings INTERFACE)
target_compile_options(lum_warnings INTERFACE -Wall -Wextra -Wshadow -Wundef -Wno-psabi)

# No exceptions, no RTTI, no guarded statics: nothing of the C++ runtime is needed.
add_library(lum_flags INTERFACE)
target_link_libraries(lum_flags INTERFACE lum_arithmetic lum_warnings)
target_compile_options(lum_flags INTERFACE
  -fopenmp -fvisibility=hidden -fno-math-errno
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)

if(LUM_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)

  # To compile kernels and to run the tests takes minutes here: one level in each word size. (Fuzzing has both.)
  execute_process(COMMAND grep -qw avx2 /proc/cpuinfo RESULT_VARIABLE no_avx2)
  if(no_avx2 OR CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(LUM_SANITIZED_LEVEL sse3)
  else()
    set(LUM_SANITIZED_LEVEL avx2)
  endif()
endif()

# lum_baseline_objects(NAME SOURCE...): compiled once, for the oldest processor served.
function(lum_baseline_objects name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE lum_flags)
  target_compile_options(${name} PRIVATE -msse3)
endfunction()

# lum_level_objects(NAME SOURCE...): kernels, compiled once per instruction-set level into NAME_sse3 and NAME_avx2.
# Exactly the feature that lum::level() tests: -march=... would switch on fused multiply-add as well.
function(lum_level_objects name)
  foreach(level sse3 avx2)
    add_library(${name}_${level} OBJECT ${ARGN})
    target_link_libraries(${name}_${level} PRIVATE lum_flags)
    target_compile_options(${name}_${level} PRIVATE -m${level})
    target_compile_definitions(${name}_${level} PRIVATE LUM_LEVEL=${level})
    if(LUM_SANITIZE AND NOT level STREQUAL LUM_SANITIZED_LEVEL)
      target_compile_options(${name}_${level} PRIVATE -fno-sanitize=all)
    elseif(LUM_SANITIZE AND CMAKE_SIZEOF_VOID_P EQUAL 4)
      # Checks of every address, which take most of the compile time. AddressSanitizer tells of bad accesses, and the
      # 64-bit build has these checks.
      target_compile_options(${name}_${level} PRIVATE -fno-sanitize=null,alignment,object-size,pointer-overflow)
    endif()
  endforeach()
endfunction()

# lum_shared_library(NAME FILE_STEM MAP): link rules of a shipped library. The C linker keeps the C++ runtime out.
function(lum_shared_library name stem map)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE C OUTPUT_NAME ${stem} VERSION 5.2 SOVERSION 5.2
    BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON LINK_DEPENDS ${map})
  target_link_options(${name} PRIVATE
    -static-libgcc -Wl,--version-script=${map} -Wl,--as-needed
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)
  if(NOT LUM_SANITIZE)  # the sanitizers' symbols come from the program
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# lum_static_library(NAME FILE_STEM OBJECT_LIBRARY...): the same library as an archive, with the same global names: the
# objects become one, in which every name that is not in abi/FILE_STEM.exports is local.
function(lum_static_library name stem)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/lib${stem}.o)
  set(exports ${PROJECT_SOURCE_DIR}/abi/lib${stem}.exports)
  set(objects ${ARGN})
  list(TRANSFORM objects REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>")
  separate_arguments(flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
  # No groups: of those that the program has as well (thunks of 32-bit code) the linker drops ours, and references by
  # local names do not follow to the other.
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_C_COMPILER} ${flags} -r -nostdlib -Wl,--force-group-allocation -Wl,--build-id=none
      -o ${object} ${objects}
    COMMAND ${CMAKE_OBJCOPY} --keep-global-symbols=${exports} ${object}
    DEPENDS ${objects} ${exports} COMMAND_EXPAND_LISTS VERBATIM)
  add_library(${name} STATIC ${object})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE C OUTPUT_NAME ${stem} ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
endfunction()
