"""What the commands in script/ do, one module a subject."""
