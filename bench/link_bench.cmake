# A signal round trip over a link between two processes, against a bare Unix socket.
add_executable(link_bench ${CMAKE_CURRENT_LIST_DIR}/link_bench.cpp
                          ${CMAKE_CURRENT_LIST_DIR}/link_bench_socket.cpp)
target_link_libraries(link_bench PRIVATE hostlink ose Threads::Threads)
ulsa_warnings(link_bench)
