extends Node2D
# # A skirmish in a valley: tanks patrol, and the player commands the blue ones.

const FIELD := Vector2(1152, 648)
const BASES := [Vector2(190, 520), Vector2(955, 130)]
const COLOURS := [Color("4a90e2"), Color("d6543c")]
const SPEED := 60.0
const REACH := 130.0

var tanks := []
var shots := []
var river := PackedVector2Array()
var time := 0.0
var score := 0
var selected := {}


func _ready() -> void:
	for i in 26:
		river.append(Vector2(i * 48.0 - 24.0, _river_at(i * 48.0 - 24.0)))
	for i in 12:
		_build(i % 2)
	$Overlay/Minimap.show_map(FIELD, tanks)


func _river_at(x: float) -> float:
	return 330.0 + 70.0 * sin(x * 0.007)


func _build(side: int) -> void:
	var at: Vector2 = BASES[side] + Vector2.from_angle(randf() * TAU) * randf_range(50.0, 110.0)
	tanks.append({"position": at, "target": at, "own": side == 0, "health": 5, "rest": randf()})


func _process(delta: float) -> void:
	time += delta
	for tank in tanks:
		_drive(tank, delta)
	for tank in tanks.duplicate():
		if tank.health <= 0:
			tanks.erase(tank)
			score += 0 if tank.own else 250
			_build(0 if tank.own else 1)
	while not shots.is_empty() and time - shots[0].time > 0.15:
		shots.pop_front()
	$Overlay/Score.text = "Score %d" % score
	queue_redraw()


func _drive(tank: Dictionary, delta: float) -> void:
	if tank.position.distance_to(tank.target) < 8.0 and tank != selected:
		tank.target = Vector2(randf_range(60.0, FIELD.x - 60.0), randf_range(60.0, FIELD.y - 60.0))
	tank.position = tank.position.move_toward(tank.target, SPEED * delta)
	tank.rest -= delta
	for other in tanks:
		if other.own != tank.own and tank.rest <= 0.0 and tank.position.distance_to(other.position) < REACH:
			tank.rest = 1.2
			other.health -= 1
			shots.append({"from": tank.position, "to": other.position, "time": time})


func _unhandled_input(event: InputEvent) -> void:
	if event is InputEventMouseButton and event.pressed:
		if event.button_index == MOUSE_BUTTON_RIGHT and not selected.is_empty():
			selected.target = event.position
		elif event.button_index == MOUSE_BUTTON_LEFT:
			selected = {}
			for tank in tanks:
				if tank.own and tank.position.distance_to(event.position) < 24.0:
					selected = tank


func _draw() -> void:
	draw_rect(Rect2(Vector2.ZERO, FIELD), Color("567a46"))
	draw_polyline(river, Color("8a7a55"), 52.0, true)
	draw_polyline(river, Color("4d86a8"), 38.0, true)
	for i in 70:
		var at := Vector2(fmod(i * 211.0, FIELD.x), fmod(i * 137.0, FIELD.y))
		if absf(at.y - _river_at(at.x)) > 48.0:
			draw_circle(at + Vector2(5, 6), 10.0, Color(0, 0, 0, 0.25))
			draw_circle(at, 10.0, Color("33542d"))
			draw_circle(at - Vector2(2, 3), 6.0, Color("4a7040"))
	for side in 2:
		draw_circle(BASES[side], 46.0, COLOURS[side].darkened(0.5))
		draw_circle(BASES[side], 34.0, COLOURS[side])
	for tank in tanks:
		draw_set_transform(tank.position, (tank.target - tank.position).angle())
		draw_rect(Rect2(-16, -11, 32, 22), Color(0.1, 0.11, 0.14))
		draw_rect(Rect2(-14, -8, 28, 16), COLOURS[0 if tank.own else 1])
		draw_rect(Rect2(0, -2, 22, 4), Color(0.92, 0.92, 0.9))
		draw_circle(Vector2.ZERO, 6.0, COLOURS[0 if tank.own else 1].darkened(0.3))
		if tank == selected:
			draw_arc(Vector2.ZERO, 24.0, 0.0, TAU, 32, Color.WHITE, 2.0, true)
	draw_set_transform(Vector2.ZERO)
	for shot in shots:
		draw_line(shot.from, shot.to, Color(1.0, 0.9, 0.6), 2.0, true)
		draw_circle(shot.to, 7.0, Color(1.0, 0.6, 0.2, 0.8))
	# Day and dusk alternate.
	draw_rect(Rect2(Vector2.ZERO, FIELD), Color(0.12, 0.1, 0.35, 0.22 - 0.22 * cos(time * 0.1)))
