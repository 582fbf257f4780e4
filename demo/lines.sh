lines_story() { :; }
