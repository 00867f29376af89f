# mao_bench: the MAO-FRO service layer of a node booted by ulsaNodeBoot, driven by the
# management client: a get against a kernel round trip to the main process, 1,000 creates
# and their commit into SQLite, and a start on 4,095 stored fROs.
if(TARGET mgmtClient AND TARGET ulsaNodeBoot AND TARGET maoFroIf AND TARGET froDb)
  add_executable(mao_bench ${CMAKE_CURRENT_LIST_DIR}/mao_bench.cpp)
  target_link_libraries(mao_bench PRIVATE mgmtClient ulsaNodeBoot maoFroIf froDb hostServices
                                          hosttrace ose Threads::Threads ${CMAKE_DL_LIBS})
  ulsa_warnings(mao_bench)
endif()
