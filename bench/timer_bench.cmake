# timer_bench: MapTimer's start and cancel among many timers, and the lateness of an
# expiry seen in the main loop.
if(TARGET timer AND TARGET messagingOse)
  add_executable(timer_bench ${CMAKE_CURRENT_LIST_DIR}/timer_bench.cpp)
  target_link_libraries(timer_bench PRIVATE timer messagingOse hosttrace)
  ulsa_warnings(timer_bench)
endif()
