# db_bench: FroDatabase against the host's real services on an SQLite file: 1,000 fROs
# saved and committed in one transaction, and the restore of 4,095 fROs of one type.
if(TARGET froDb AND TARGET hostServices)
  add_executable(db_bench ${CMAKE_CURRENT_LIST_DIR}/db_bench.cpp)
  target_link_libraries(db_bench PRIVATE froDb hostServices platformProxies hosttrace ose
                                         ${CMAKE_DL_LIBS})
  ulsa_warnings(db_bench)
endif()
