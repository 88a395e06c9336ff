target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/mcast/pcSimIPv4McDb.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/getters.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/cascade.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/operations.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/outgoing.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/dump.cpp
    ${PROJECT_SOURCE_DIR}/platform/mcast/hooks.cpp)
