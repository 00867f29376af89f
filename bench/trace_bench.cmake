# trace_bench: the cost of a trace call whose level is off.
if(benchmark_FOUND AND TARGET dynTrace)
  add_executable(trace_bench ${CMAKE_CURRENT_LIST_DIR}/trace_bench.cpp)
  target_link_libraries(trace_bench PRIVATE dynTrace hosttrace benchmark::benchmark)
  ulsa_warnings(trace_bench)
endif()
