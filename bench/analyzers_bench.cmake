# analyzers_bench: 100 analyzers sampling side by side in one node booted by
# ulsaNodeBoot, with radio unit simulators in its kernel and an FTP server on
# loopback, driven through the management client; the load module's heap counted.
if(TARGET manyAnalyzers)
  add_executable(analyzers_bench ${CMAKE_CURRENT_LIST_DIR}/analyzers_bench.cpp)
  target_link_libraries(analyzers_bench PRIVATE manyAnalyzers)
  ulsa_warnings(analyzers_bench)
endif()
