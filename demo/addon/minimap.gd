@tool
extends Control
## A small map of the whole field in a corner of the screen.

const OWN := Color("8cc4ff")
const ENEMY := Color("ff8a6e")
const FRAME := Color(1, 1, 1, 0.5)

var field := Vector2.ONE
var shown: Array = []


## Shows `units` on a field of this size. Each has a `position` and an `own` flag. Reads the list
## again for every frame.
func show_map(size_of_field: Vector2, units: Array) -> void:
	field = size_of_field
	shown = units


func _process(_delta: float) -> void:
	queue_redraw()


func _draw() -> void:
	draw_rect(Rect2(Vector2(-3, -3), size + Vector2(6, 6)), Color(0.06, 0.08, 0.12, 0.8))
	draw_rect(Rect2(Vector2.ZERO, size), FRAME, false, 1.0)
	for unit in shown:
		draw_circle(unit.position / field * size, 2.5, OWN if unit.own else ENEMY)
