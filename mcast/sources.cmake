target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/mcast/pcSimIPv4McDb.cpp
    ${PROJECT_SOURCE_DIR}/mcast/getters.cpp
    ${PROJECT_SOURCE_DIR}/mcast/cascade.cpp
    ${PROJECT_SOURCE_DIR}/mcast/operations.cpp
    ${PROJECT_SOURCE_DIR}/mcast/outgoing.cpp
    ${PROJECT_SOURCE_DIR}/mcast/dump.cpp
    ${PROJECT_SOURCE_DIR}/mcast/hooks.cpp)
