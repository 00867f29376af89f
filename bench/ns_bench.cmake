# ns_bench: a subscription through the name-server client and "ose_ns", against a bare
# kernel round trip.
if(TARGET nameServerOse AND TARGET hostNameServer)
  add_executable(ns_bench ${CMAKE_CURRENT_LIST_DIR}/ns_bench.cpp)
  target_link_libraries(ns_bench PRIVATE nameServerOse hostNameServer hosttrace)
  ulsa_warnings(ns_bench)
endif()
