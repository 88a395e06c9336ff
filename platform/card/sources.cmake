target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/card/pcSimCard.cpp
    ${PROJECT_SOURCE_DIR}/platform/card/pcSimCardDB.cpp
    ${PROJECT_SOURCE_DIR}/platform/card/cardHwInfo.cpp
    ${PROJECT_SOURCE_DIR}/platform/card/cardCapability.cpp
    ${PROJECT_SOURCE_DIR}/platform/card/cardSlotOps.cpp
    ${PROJECT_SOURCE_DIR}/platform/card/cardFamilyOps.cpp
)
