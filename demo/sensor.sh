sensor_story() { :; }
