target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/l3/pcSimIpAdj.cpp
    ${PROJECT_SOURCE_DIR}/platform/l3/pcSimIPv4Fib.cpp
    ${PROJECT_SOURCE_DIR}/platform/l3/pcSimIPv6Fib.cpp)
