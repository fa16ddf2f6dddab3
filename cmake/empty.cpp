// Stands in for the sources of a folder that has none yet.
