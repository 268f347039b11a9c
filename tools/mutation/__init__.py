"""Changes to the library that its tests must notice."""
