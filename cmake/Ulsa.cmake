# Helpers shared by every unit of the tree.

set(ULSA_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align
                  -Wunused -Woverloaded-virtual -Wnull-dereference -Wformat=2)
if(ULSA_WERROR)
  list(APPEND ULSA_WARNINGS -Werror)
endif()

if(ULSA_SANITIZE)
  add_compile_options(-fsanitize=${ULSA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ULSA_SANITIZE})
endif()

# ulsa_warnings(target): the project's warning set on a target of its own code.
function(ulsa_warnings target)
  target_compile_options(${target} PRIVATE ${ULSA_WARNINGS})
endfunction()

# ulsa_library(name SOURCES ... [DEPS ...] [PRIVATE_DEPS ...])
# A static library whose public headers are in inc/ beside the calling CMakeLists.
function(ulsa_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/inc
                                     PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  ulsa_warnings(${name})
endfunction()

# ulsa_test(name SOURCES ... [DEPS ...] [LABELS ...])
# A GoogleTest program; each TEST becomes a CTest test. Threaded tests carry the
# label "threads"; slow stress runs carry "stress" and stay out of the default run.
function(ulsa_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gtest_main GTest::gmock
                                        Threads::Threads)
  ulsa_warnings(${name})
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
  if("threads" IN_LIST ARG_LABELS)
    set_property(GLOBAL APPEND PROPERTY ULSA_THREADS_TESTS ${name})
  endif()
endfunction()

# ulsa_uses_programs(target): a test that runs the programs (testSupport's
# ProgramRun.h) gets their paths and is built after them.
function(ulsa_uses_programs target)
  target_compile_definitions(${target} PRIVATE
    ULSACTL_PATH="$<TARGET_FILE:ulsactl>"
    ULSA_RADIO_PATH="$<TARGET_FILE:ulsa-radio>"
    ULSA_NODE_PATH="$<TARGET_FILE:ulsa-node>")
  add_dependencies(${target} ulsactl ulsa-radio ulsa-node)
endfunction()
