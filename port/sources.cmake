target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/port/linkInfo.cpp
    ${PROJECT_SOURCE_DIR}/port/mii.cpp
    ${PROJECT_SOURCE_DIR}/port/pcSimPort.cpp
    ${PROJECT_SOURCE_DIR}/port/pcSimTrunk.cpp
    ${PROJECT_SOURCE_DIR}/port/procNetDev.cpp
    ${PROJECT_SOURCE_DIR}/port/statistics.cpp
)
