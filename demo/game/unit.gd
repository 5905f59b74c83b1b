class_name Unit
extends RefCounted
## One vehicle: drives to its target, a harvester back and forth by itself.

const SPEED := 70.0
const LOAD := 20

var position: Vector2
var target: Vector2
var heading := 0.0
var own := true
var harvester := false
var selected := false
var loaded := false


func _init(at: Vector2, is_own: bool, is_harvester: bool) -> void:
	position = at
	target = at
	own = is_own
	harvester = is_harvester


func drive(delta: float) -> bool:
	var way := target - position
	if way.length() < 3.0:
		return true
	heading = lerp_angle(heading, way.angle(), minf(1.0, delta * 6.0))
	position += way.normalized() * SPEED * delta
	return false
