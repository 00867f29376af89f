# rfti_bench: the RFTI client fetching a 16 MiB result in the largest block against a
# bare kernel round trip plus an append of a block, and a whole type 0 sampling run
# of a 1 MiB result on the real clock, with the simulator, the real services and an
# FTP server on loopback.
if(TARGET ulsaCtrl AND TARGET hostRadio AND TARGET hostFtpTestSupport AND TARGET testSupport)
  add_executable(rfti_bench ${CMAKE_CURRENT_LIST_DIR}/rfti_bench.cpp)
  target_link_libraries(rfti_bench PRIVATE ulsaCtrl hostRadio hostUnitStatus hostFileTransfer
    hostNameServer hostDisk hostFtpTestSupport hostAttrRead messagingOse testSupport hosttrace)
  ulsa_warnings(rfti_bench)
endif()
