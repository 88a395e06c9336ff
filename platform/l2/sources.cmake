target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/l2/fdbHash.cpp
    ${PROJECT_SOURCE_DIR}/platform/l2/fdbScan.cpp
    ${PROJECT_SOURCE_DIR}/platform/l2/pcSimFdb.cpp
    ${PROJECT_SOURCE_DIR}/platform/l2/pcSimVlan.cpp
)
