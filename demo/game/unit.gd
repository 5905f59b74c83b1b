class_name Unit
extends RefCounted
## One vehicle: drives to its target, and a tank shoots at what comes near.

const SPEED := 62.0
const LOAD := 20
const RANGE := 120.0
const RELOAD := 0.9
const HEALTH := 100

var position: Vector2
var target: Vector2
var heading := 0.0
var aim := 0.0
var own := true
var harvester := false
var selected := false
var loaded := false
var health := HEALTH
var cooldown := 0.0


func _init(at: Vector2, is_own: bool, is_harvester: bool) -> void:
	position = at
	target = at
	own = is_own
	harvester = is_harvester
	heading = 0.0 if own else PI
	aim = heading
	# So that not all of them shoot at once.
	cooldown = randf() * RELOAD


## Moves on; true when the target is reached.
func drive(delta: float) -> bool:
	var way := target - position
	if way.length() < 3.0:
		return true
	heading = lerp_angle(heading, way.angle(), minf(1.0, delta * 5.0))
	position += Vector2.from_angle(heading) * SPEED * delta * (0.35 if absf(angle_difference(heading, way.angle())) > 0.6 else 1.0)
	return false


## Turns the gun; true when it fires.
func shoot_at(point: Vector2, delta: float) -> bool:
	cooldown -= delta
	aim = lerp_angle(aim, (point - position).angle(), minf(1.0, delta * 8.0))
	if cooldown > 0.0:
		return false
	cooldown = RELOAD
	return true


func rest_gun(delta: float) -> void:
	cooldown = maxf(0.0, cooldown - delta)
	aim = lerp_angle(aim, heading, minf(1.0, delta * 4.0))
