# fro_bench: a transaction of 4,095 creates and its commit or rollback, and lookups in
# the fRO store by LDN, each against a plain std::map doing the same in the same run.
if(TARGET froMgmt)
  add_executable(fro_bench ${CMAKE_CURRENT_LIST_DIR}/fro_bench.cpp)
  target_link_libraries(fro_bench PRIVATE froMgmt froCore xml ose)
  ulsa_warnings(fro_bench)
endif()
