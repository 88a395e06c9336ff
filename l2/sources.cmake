target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/l2/fdbHash.cpp
    ${PROJECT_SOURCE_DIR}/l2/fdbScan.cpp
    ${PROJECT_SOURCE_DIR}/l2/pcSimFdb.cpp
    ${PROJECT_SOURCE_DIR}/l2/pcSimVlan.cpp
)
