@tool
extends EditorPlugin
## Offers the minimap in the editor's list of nodes.


func _enter_tree() -> void:
	add_custom_type("Minimap", "Control", preload("minimap.gd"), null)


func _exit_tree() -> void:
	remove_custom_type("Minimap")
