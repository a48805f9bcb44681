include $(sort $(wildcard $(BR2_EXTERNAL_CORVENNA_PATH)/package/*/*.mk))
