# Compile and link settings shared by every target of the tree.

include(CheckLinkerFlag)
# Flash is what a gateway is short of: with the code in a segment of its own
# (the linker's default on x86-64 since binutils 2.31) every library's file
# carries up to three part-empty pages of padding, some 4 KB each on
# average. Read-only data then shares the executable segment, as it did
# before that default.
check_linker_flag(C "-Wl,-z,noseparate-code" ZVSDP_LINKER_HAS_NOSEPARATE_CODE)

add_compile_options(-Wall -Wextra -Werror)

if(ZVSDP_SANITIZE)
  add_compile_options(-fsanitize=${ZVSDP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ZVSDP_SANITIZE})
endif()

# zvsdp_runtime_library(target): the settings of a library that ships to a gateway.
# Embedded C++: no exceptions, no RTTI, nothing exported but what the header
# declares, and no dependency on the C++ runtime's shared objects.
function(zvsdp_runtime_library target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  # Calls inside a library go straight to its own functions, not through
  # the PLT: a host that interposes one of our symbols is not supported.
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    -ffunction-sections -fdata-sections -fno-semantic-interposition)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,--gc-sections -Wl,-Bsymbolic-functions)
  if(ZVSDP_LINKER_HAS_NOSEPARATE_CODE)
    target_link_options(${target} PRIVATE -Wl,-z,noseparate-code)
  endif()
  # clang leaves the sanitizer runtime to the executable, so its sanitized
  # libraries have undefined references by design.
  if(NOT (ZVSDP_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  if(NOT ZVSDP_SANITIZE)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
  find_package(Threads REQUIRED)
  target_link_libraries(${target} PRIVATE Threads::Threads)
endfunction()
